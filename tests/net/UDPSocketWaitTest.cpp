// Waiting, and the failures that a wait or a transfer ends with.

#include <csignal>

#include "tests/net/ScriptedUDPSocket.h"
#include "tests/support/StreamPair.h"

TEST(UDPSocketWaitTest, ATimedOutWaitNamesTheTimeoutTheDirectionAndThePeer) {
  const struct {
    bool reading;
    int timeoutMs;
    const char* peer;
    const char* text;
  } rows[] = {
      {true, 250, "",
       "UDPSocket::SelectReadWrite - timed out (250) while reading from the socket on () :: failed "
       "with code 110: Connection timed out"},
      {false, 60000, "192.0.2.1",
       "UDPSocket::SelectReadWrite - timed out (60000) while writing from the socket on "
       "(192.0.2.1) :: failed with code 110: Connection timed out"},
      {true, 0, "%s",
       "UDPSocket::SelectReadWrite - timed out (0) while reading from the socket on (%s) :: failed "
       "with code 110: Connection timed out"},
  };
  for (const auto& row : rows) {
    const ScriptedWaits waits(Done(0));
    OpenedUDPSocket socket;
    socket.m_peerDescription = row.peer;
    EXPECT_EQ(FailureText<UDPSocketTimeoutException>(
                  [&] { socket.SelectReadWrite(7, row.reading, row.timeoutMs); }),
              row.text);
  }
}

TEST(UDPSocketWaitTest, AWaitUsesTheReadSetAndForWritingBothSets) {
  const ScriptedWaits waits;
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(7, true, 5000), 1);
  EXPECT_EQ(socket.SelectReadWrite(7, false, 5000), 1);
  EXPECT_EQ(socket.SelectReadWrite(0, false, 5000), 1);
  EXPECT_EQ(waits.events, (Events{"select 8 reading 5.000000", "select 8 reading writing 5.000000",
                                  "select 1 reading writing 5.000000"}));
}

TEST(UDPSocketWaitTest, ATimeoutIsInMillisecondsAndBelow1WaitsWithoutLimit) {
  const struct {
    int timeoutMs;
    const char* event;
  } rows[] = {
      {1, "select 8 reading 0.001000"},     {999, "select 8 reading 0.999000"},
      {1000, "select 8 reading 1.000000"},  {61001, "select 8 reading 61.001000"},
      {0, "select 8 reading forever"},      {-1, "select 8 reading forever"},
      {-60000, "select 8 reading forever"},
  };
  for (const auto& row : rows) {
    const ScriptedWaits waits;
    OpenedUDPSocket socket;
    EXPECT_EQ(socket.SelectReadWrite(7, true, row.timeoutMs), 1);
    EXPECT_EQ(waits.events, Events{row.event});
  }
}

TEST(UDPSocketWaitTest, AWaitReturnsTheNumberOfReadyDescriptors) {
  const StreamPair pair;
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(pair.One(), false, 1000), 1);  // writable
  ASSERT_EQ(write(pair.Other(), "x", 1), 1);
  EXPECT_EQ(socket.SelectReadWrite(pair.One(), true, 1000), 1);   // readable
  EXPECT_EQ(socket.SelectReadWrite(pair.One(), false, 1000), 2);  // both
}

TEST(UDPSocketWaitTest, AWaitToWriteAlsoEndsWhenTheSocketCanBeRead) {
  const StreamPair pair;
  const std::string block(65536, 'x');
  while (send(pair.One(), block.data(), block.size(), MSG_DONTWAIT) > 0) {
  }
  OpenedUDPSocket socket;
  EXPECT_EQ(FailureText<UDPSocketTimeoutException>(
                [&] { socket.SelectReadWrite(pair.One(), false, 50); }),
            "UDPSocket::SelectReadWrite - timed out (50) while writing from the socket on () :: "
            "failed with code 110: Connection timed out");
  ASSERT_EQ(write(pair.Other(), "x", 1), 1);
  EXPECT_EQ(socket.SelectReadWrite(pair.One(), false, 1000), 1);
}

TEST(UDPSocketWaitTest, AWaitWithoutLimitEndsWhenADatagramArrives) {
  for (const int timeoutMs : {0, -1}) {
    Peer peer;
    OpenedUDPSocket socket;
    ConnectTo(peer, socket, true);
    std::jthread sender([&] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      peer.Answer("x");
    });
    const Clock::time_point start = Clock::now();
    EXPECT_EQ(socket.SelectReadWrite(socket.m_descriptor, true, timeoutMs), 1);
    EXPECT_GE(MillisecondsSince(start), 250);
  }
}

TEST(UDPSocketWaitTest, AnInterruptedWaitStartsAgainWithNewSetsAndTheFullTimeout) {
  const ScriptedWaits waits(Fails(EINTR), Fails(EINTR), Done(2));
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(7, false, 5000), 2);
  EXPECT_EQ(waits.events,
            (Events{"select 8 reading writing 5.000000", "select 8 reading writing 5.000000",
                    "select 8 reading writing 5.000000"}));
}

TEST(UDPSocketWaitTest, AfterASignalAWaitTakesItsFullTimeoutAgain) {
  struct sigaction action {};
  struct sigaction old {};
  action.sa_handler = [](int) {};
  sigaction(SIGALRM, &action, &old);
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  const Clock::time_point start = Clock::now();
  const itimerval after150ms{.it_interval = {}, .it_value = {.tv_sec = 0, .tv_usec = 150000}};
  setitimer(ITIMER_REAL, &after150ms, nullptr);
  EXPECT_THROW(socket.SelectReadWrite(socket.m_descriptor, true, 300), UDPSocketTimeoutException);
  EXPECT_GE(MillisecondsSince(start), 440);
  EXPECT_LT(MillisecondsSince(start), 10000);
  sigaction(SIGALRM, &old, nullptr);
}

TEST(UDPSocketWaitTest, AWaitThatFailsWithoutAnErrorNumberReturnsZero) {
  const ScriptedWaits waits(Fails(0));
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(7, true, 5000), 0);
  EXPECT_EQ(waits.events.size(), 1U);
}

TEST(UDPSocketWaitTest, AWaitWithoutLimitThatFindsNothingReturnsZero) {
  const ScriptedWaits waits(Done(0));
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.SelectReadWrite(7, true, -1), 0);
}

TEST(UDPSocketWaitTest, AWaitForABadOrNegativeDescriptorThrows) {
  OpenedUDPSocket socket;
  const int closed = dup(STDERR_FILENO);
  close(closed);
  for (const int bad : {closed, -1}) {
    EXPECT_EQ(FailureText<SocketException>([&] { socket.SelectReadWrite(bad, true, 1000); }),
              "UDPSocket::SelectReadWrite - result -1 while reading from the socket on () :: "
              "failed with code 9: Bad file descriptor");
  }
  socket.m_peerDescription = "192.0.2.1";
  EXPECT_EQ(FailureText<SocketException>([&] { socket.SelectReadWrite(closed, false, 1000); }),
            "UDPSocket::SelectReadWrite - result -1 while writing from the socket on (192.0.2.1) "
            ":: failed with code 9: Bad file descriptor");
}

TEST(UDPSocketWaitTest, ADescriptorAbove1023IsNotWaitedFor) {
  const ScriptedWaits waits;
  OpenedUDPSocket socket;
  const struct {
    bool reading;
    int error;  // before the call
    const char* text;
  } rows[] = {
      {true, 0,
       "UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE :: failed with code 0: "
       "Success"},
      {false, 2,
       "UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE :: failed with code 2: "
       "No such file or directory"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(FailureText<SocketException>([&] {
                errno = row.error;
                socket.SelectReadWrite(1024, row.reading, 5000);
              }),
              row.text);
  }
  EXPECT_EQ(waits.events, Events());
  EXPECT_EQ(socket.SelectReadWrite(1023, true, 5000), 1);
  EXPECT_EQ(waits.events, Events{"select 1024 reading 5.000000"});
}

TEST(UDPSocketWaitTest, CheckSocketStatusReturnsAHarmlessErrorNumber) {
  OpenedUDPSocket socket;
  for (const int error : {0, 4, 11}) {
    for (const bool reading : {true, false}) {
      errno = error;
      EXPECT_EQ(socket.CheckSocketStatus(reading), error);
    }
  }
}

TEST(UDPSocketWaitTest, CheckSocketStatusThrowsATextForEachKindOfError) {
  const struct {
    int error;
    bool reading;
    const char* peer;
    const char* text;
  } rows[] = {
      {32, true, "",
       "UDPSocket::CheckSocketStatus - connection error reading from the socket [] :: failed with "
       "code 32: Broken pipe"},
      {32, false, "192.0.2.1",
       "UDPSocket::CheckSocketStatus - connection error writing from the socket [192.0.2.1] :: "
       "failed with code 32: Broken pipe"},
      {103, true, "",
       "UDPSocket::CheckSocketStatus - connection error reading from the socket [] :: failed with "
       "code 103: Software caused connection abort"},
      {104, false, "",
       "UDPSocket::CheckSocketStatus - connection error writing from the socket [] :: failed with "
       "code 104: Connection reset by peer"},
      {110, true, "",
       "UDPSocket::CheckSocketStatus - timed out while reading from the socket [] :: failed with "
       "code 110: Connection timed out"},
      {110, false, "%d",
       "UDPSocket::CheckSocketStatus - timed out while writing from the socket [%d] :: failed with "
       "code 110: Connection timed out"},
      {9, true, "",
       "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code 9: Bad "
       "file descriptor"},
      {111, false, "192.0.2.1",
       "UDPSocket::CheckSocketStatus - error writing from the socket [192.0.2.1] :: failed with "
       "code 111: Connection refused"},
      {1, true, "",
       "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code 1: "
       "Operation not permitted"},
  };
  for (const auto& row : rows) {
    OpenedUDPSocket socket;
    socket.m_peerDescription = row.peer;
    EXPECT_EQ(FailureText<SocketException>([&] {
                errno = row.error;
                socket.CheckSocketStatus(row.reading);
              }),
              row.text);
  }
}

TEST(UDPSocketWaitTest, FailuresOfSystemCallsAreClassified) {
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe(ends.data()), 0);
  OpenedUDPSocket socket(ends[0]);
  std::array<char, 16> buffer{};
  unsigned int moved = 0;
  EXPECT_EQ(
      FailureText<SocketException>([&] { socket.Receive(buffer.data(), 16, moved, 1000, false); }),
      "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code "
      "88: Socket operation on non-socket");
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Send("x", 1, moved, 1000); }),
            "UDPSocket::CheckSocketStatus - error writing from the socket [] :: failed with code "
            "88: Socket operation on non-socket");
  close(ends[1]);
}
