// Sending and receiving.

#include "tests/net/ScriptedUDPSocket.h"

TEST(UDPSocketTransferTest, SendSendsTheWholeBufferToThePeer) {
  Peer peer;
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), true);
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("hello", 5, sent, 1000), 5);
  EXPECT_EQ(sent, 5U);
  EXPECT_EQ(peer.Receive(), "hello");
}

TEST(UDPSocketTransferTest, SendGoesOnWhereAPartialSendStopped) {
  ScriptedUDPSocket socket(Done(2), Done(1), Done(4));
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("abcdefg", 7, sent, 1000), 7);
  EXPECT_EQ(sent, 4U);  // what the last one took
  EXPECT_EQ(socket.sent, (std::vector<std::string>{"abcdefg", "cdefg", "defg"}));
}

TEST(UDPSocketTransferTest, SendStopsWhenNothingIsTaken) {
  ScriptedUDPSocket socket(Done(3), Done(0), Done(4));
  unsigned int sent = 99;
  EXPECT_EQ(socket.Send("abcdefg", 7, sent, 1000), 3);
  EXPECT_EQ(sent, 0U);
  EXPECT_EQ(socket.events, (Events{"send 7", "send 4"}));
}

TEST(UDPSocketTransferTest, SendRepeatsAfterAHarmlessErrorWithoutAWait) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Fails(EAGAIN), Done(3), Fails(EINTR), Fails(0), Done(4));
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("abcdefg", 7, sent, 1000), 7);
  EXPECT_EQ(sent, 4U);
  EXPECT_EQ(waits.events, (Events{"send 7", "send 7", "send 4", "send 4", "send 4"}));
}

TEST(UDPSocketTransferTest, SendWaitsAtItsStartAndAgainAfterAHarmlessError) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(3), Fails(EAGAIN), Done(4));
  socket.m_wait = 1;
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("abcdefg", 7, sent, 2500), 7);
  EXPECT_EQ(waits.events, (Events{"select 1 reading writing 2.500000", "send 7", "send 4",
                                  "select 1 reading writing 2.500000", "send 4"}));
}

TEST(UDPSocketTransferTest, AfterAHarmlessErrorNothingCountsAsSent) {
  const ScriptedWaits waits(Done(1), Done(0));
  ScriptedUDPSocket socket(Done(3), Fails(EAGAIN));
  socket.m_wait = 1;
  unsigned int sent = 99;
  EXPECT_EQ(
      FailureText<UDPSocketTimeoutException>([&] { socket.Send("abcdefg", 7, sent, 2500); }),
      "UDPSocket::SelectReadWrite - timed out (2500) while writing from the socket on () :: failed "
      "with code 110: Connection timed out");
  EXPECT_EQ(sent, 0U);
}

TEST(UDPSocketTransferTest, SendThatFailsThrows) {
  ScriptedUDPSocket socket(Done(3), Fails(ECONNREFUSED));
  unsigned int sent = 0;
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Send("abcdefg", 7, sent, 1000); }),
            "UDPSocket::CheckSocketStatus - error writing from the socket [] :: failed with code "
            "111: Connection refused");
  EXPECT_EQ(socket.events, (Events{"send 7", "send 4"}));
}

TEST(UDPSocketTransferTest, SendWithoutAWaitFlagWaitsForNothing) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(1));
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("a", 1, sent, 1000), 1);
  EXPECT_EQ(waits.events, Events{"send 1"});
}

TEST(UDPSocketTransferTest, AZeroLengthSendReturnsZeroWithoutTouchingTheSocket) {
  ScriptedUDPSocket socket(Done(5));
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("", 0, sent, 1000), 0);
  EXPECT_EQ(socket.events, Events());
}

TEST(UDPSocketTransferTest, AZeroLengthSendStillWaitsWhenTheWaitFlagIsSet) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(5));
  socket.m_wait = 1;
  unsigned int sent = 0;
  EXPECT_EQ(socket.Send("", 0, sent, 1000), 0);
  EXPECT_EQ(waits.events, Events{"select 1 reading writing 1.000000"});
}

TEST(UDPSocketTransferTest, ReceiveTakesOneDatagramWhoseSenderBecomesThePeer) {
  Peer peer;
  Peer other;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  other.SendTo(Peer::PortOf(socket.m_descriptor), "hello");
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 16, received, 1000, false), 5);
  EXPECT_EQ(received, 5U);
  EXPECT_STREQ(buffer.data(), "hello");
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), other.Port());
}

TEST(UDPSocketTransferTest, ADatagramLongerThanTheBufferIsCut) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  peer.Answer("hello");
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 3, received, 1000, false), 3);
  EXPECT_STREQ(buffer.data(), "hel");
}

TEST(UDPSocketTransferTest, ReceiveWithFillOnANonBlockingSocketReturnsTheOneDatagram) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  peer.Answer("hello");
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 16, received, 1000, true), 5);
  EXPECT_EQ(received, 5U);
}

TEST(UDPSocketTransferTest, ReceiveWithFillReadsOnUntilTheBufferIsFull) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("abc"), Bytes("de"), Bytes("fg"), Bytes("more"));
  socket.m_wait = 1;
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, true), 7);
  EXPECT_EQ(received, 2U);  // what the last read brought
  EXPECT_STREQ(buffer.data(), "abcdefg");
  EXPECT_EQ(waits.events,  // one wait only
            (Events{"select 1 reading 1.000000", "receive 7", "receive 4", "receive 2"}));
}

TEST(UDPSocketTransferTest, OnABlockingSocketAReceiveWithFillWaitsForTheRest) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, false);
  peer.Answer("abc");
  std::jthread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    peer.Answer("defg");
  });
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 50, true), 7);
  EXPECT_STREQ(buffer.data(), "abcdefg");
}

TEST(UDPSocketTransferTest, ReceiveWithoutFillReadsOnce) {
  ScriptedUDPSocket socket(Bytes("abc"), Bytes("de"));
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, false), 3);
  EXPECT_EQ(received, 3U);
  EXPECT_EQ(socket.events, Events{"receive 7"});
}

TEST(UDPSocketTransferTest, ReceiveEndsWithWhatItHasWhenAReadBringsNothing) {
  ScriptedUDPSocket socket(Bytes("abc"), Done(0), Bytes("de"));
  std::array<char, 16> buffer{};
  unsigned int received = 99;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, true), 3);
  EXPECT_EQ(received, 0U);
  EXPECT_EQ(socket.events, (Events{"receive 7", "receive 4"}));
}

TEST(UDPSocketTransferTest, ReceiveEndsWithWhatItHasAfterAHarmlessError) {
  for (const int error : {0, EINTR, EAGAIN}) {
    ScriptedUDPSocket socket(Bytes("abc"), Fails(error), Bytes("de"));
    std::array<char, 16> buffer{};
    unsigned int received = 99;
    EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, true), 3);
    EXPECT_EQ(received, 3U);
    EXPECT_EQ(socket.events, (Events{"receive 7", "receive 4"}));
  }
}

TEST(UDPSocketTransferTest, ReceiveThatFailsThrows) {
  ScriptedUDPSocket socket(Fails(ECONNREFUSED));
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(FailureText<SocketException>(
                [&] { socket.Receive(buffer.data(), 7, received, 1000, false); }),
            "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code "
            "111: Connection refused");
}

TEST(UDPSocketTransferTest, ReceiveWithoutAWaitFlagWaitsForNothing) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("abc"));
  std::array<char, 16> buffer{};
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(buffer.data(), 7, received, 1000, false), 3);
  EXPECT_EQ(waits.events, Events{"receive 7"});
}

TEST(UDPSocketTransferTest, AZeroLengthReceiveReturnsZeroWithoutTouchingTheSocket) {
  ScriptedUDPSocket socket(Bytes("abc"));
  char byte = 0;
  unsigned int received = 0;
  EXPECT_EQ(socket.Receive(&byte, 0, received, 1000, true), 0);
  EXPECT_EQ(socket.events, Events());
}

TEST(UDPSocketTransferTest, AZeroLengthReceiveStillWaitsWhenTheWaitFlagIsSet) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  char byte = 0;
  unsigned int received = 0;
  EXPECT_EQ(FailureText<UDPSocketTimeoutException>(
                [&] { socket.Receive(&byte, 0, received, 50, false); }),
            "UDPSocket::SelectReadWrite - timed out (50) while reading from the socket on () :: "
            "failed with code 110: Connection timed out");
}

TEST(UDPSocketTransferTest, TheRawTransfersReturnTheResultOfTheSystemCall) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  std::array<char, 4> buffer{};
  EXPECT_EQ(socket.ReceiveRaw(buffer.data(), 4), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(socket.SendRaw("abc", 3), 3);
  EXPECT_EQ(socket.SendRaw("", 0), 0);
}
