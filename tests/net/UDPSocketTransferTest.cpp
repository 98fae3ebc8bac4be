// Sending and receiving.

#include "tests/net/ScriptedUDPSocket.h"

namespace {

class UDPSocketTransferTest : public testing::Test {
 protected:
  std::array<char, 16> m_buffer{};
  unsigned int m_moved = 99;
};

}  // namespace

TEST_F(UDPSocketTransferTest, SendSendsTheWholeBufferToThePeer) {
  Peer peer;
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), true);
  EXPECT_EQ(socket.Send("hello", 5, m_moved, 1000), 5);
  EXPECT_EQ(m_moved, 5U);
  EXPECT_EQ(peer.Receive(), "hello");
}

TEST_F(UDPSocketTransferTest, SendContinuesWhereAPartialSendStopped) {
  ScriptedUDPSocket socket(Done(2), Done(1), Done(4));
  EXPECT_EQ(socket.Send("abcdefg", 7, m_moved, 1000), 7);
  EXPECT_EQ(m_moved, 4U);  // what the last one took
  EXPECT_EQ(socket.sent, (std::vector<std::string>{"abcdefg", "cdefg", "defg"}));
}

TEST_F(UDPSocketTransferTest, SendStopsWhenNothingIsTaken) {
  ScriptedUDPSocket socket(Done(3), Done(0), Done(4));
  EXPECT_EQ(socket.Send("abcdefg", 7, m_moved, 1000), 3);
  EXPECT_EQ(m_moved, 0U);
  EXPECT_EQ(socket.events, (Events{"send 7", "send 4"}));
}

TEST_F(UDPSocketTransferTest, SendRepeatsAfterAHarmlessErrorWithoutAWait) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Fails(EAGAIN), Done(3), Fails(EINTR), Fails(0), Done(4));
  EXPECT_EQ(socket.Send("abcdefg", 7, m_moved, 1000), 7);
  EXPECT_EQ(m_moved, 4U);
  EXPECT_EQ(waits.events, (Events{"send 7", "send 7", "send 4", "send 4", "send 4"}));
}

TEST_F(UDPSocketTransferTest, SendWaitsAtItsStartAndAgainAfterAHarmlessError) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(3), Fails(EAGAIN), Done(4));
  socket.m_wait = 1;
  EXPECT_EQ(socket.Send("abcdefg", 7, m_moved, 2500), 7);
  EXPECT_EQ(waits.events, (Events{"select 1 reading writing 2.500000", "send 7", "send 4",
                                  "select 1 reading writing 2.500000", "send 4"}));
}

TEST_F(UDPSocketTransferTest, AHarmlessErrorResetsTheCountOfTheLastSend) {
  const ScriptedWaits waits(Done(1), Done(0));
  ScriptedUDPSocket socket(Done(3), Fails(EAGAIN));
  socket.m_wait = 1;
  EXPECT_EQ(
      FailureText<UDPSocketTimeoutException>([&] { socket.Send("abcdefg", 7, m_moved, 2500); }),
      "UDPSocket::SelectReadWrite - timed out (2500) while writing from the socket on () :: failed "
      "with code 110: Connection timed out");
  EXPECT_EQ(m_moved, 0U);
}

TEST_F(UDPSocketTransferTest, AFailedSendThrows) {
  ScriptedUDPSocket socket(Done(3), Fails(ECONNREFUSED));
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Send("abcdefg", 7, m_moved, 1000); }),
            "UDPSocket::CheckSocketStatus - error writing from the socket [] :: failed with code "
            "111: Connection refused");
  EXPECT_EQ(socket.events, (Events{"send 7", "send 4"}));
}

TEST_F(UDPSocketTransferTest, AZeroLengthSendSendsNothingButWaitsIfTheWaitFlagIsSet) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(5));
  EXPECT_EQ(socket.Send("", 0, m_moved, 1000), 0);
  EXPECT_EQ(waits.events, Events());
  socket.m_wait = 1;
  EXPECT_EQ(socket.Send("", 0, m_moved, 1000), 0);
  EXPECT_EQ(waits.events, Events{"select 1 reading writing 1.000000"});
}

TEST_F(UDPSocketTransferTest, ReceiveTakesOneDatagramWhoseSenderBecomesThePeer) {
  Peer peer;
  Peer other;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  other.SendTo(Peer::PortOf(socket.m_descriptor), "hello");
  EXPECT_EQ(socket.Receive(m_buffer.data(), 16, m_moved, 1000, false), 5);
  EXPECT_EQ(m_moved, 5U);
  EXPECT_STREQ(m_buffer.data(), "hello");
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), other.Port());
}

TEST_F(UDPSocketTransferTest, ADatagramLongerThanTheBufferIsCut) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  peer.Answer("hello");
  EXPECT_EQ(socket.Receive(m_buffer.data(), 3, m_moved, 1000, false), 3);
  EXPECT_STREQ(m_buffer.data(), "hel");
}

TEST_F(UDPSocketTransferTest, ReceiveWithFillOnANonBlockingSocketReturnsTheOneDatagram) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  peer.Answer("hello");
  EXPECT_EQ(socket.Receive(m_buffer.data(), 16, m_moved, 1000, true), 5);
  EXPECT_EQ(m_moved, 5U);
}

TEST_F(UDPSocketTransferTest, ReceiveWithFillReadsUntilTheBufferIsFull) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("abc"), Bytes("de"), Bytes("fg"), Bytes("more"));
  socket.m_wait = 1;
  EXPECT_EQ(socket.Receive(m_buffer.data(), 7, m_moved, 1000, true), 7);
  EXPECT_EQ(m_moved, 2U);  // what the last read brought
  EXPECT_STREQ(m_buffer.data(), "abcdefg");
  EXPECT_EQ(waits.events,  // one wait only
            (Events{"select 1 reading 1.000000", "receive 7", "receive 4", "receive 2"}));
}

TEST_F(UDPSocketTransferTest, OnABlockingSocketAReceiveWithFillWaitsForTheRest) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, false);
  peer.Answer("abc");
  std::jthread later([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    peer.Answer("defg");
  });
  EXPECT_EQ(socket.Receive(m_buffer.data(), 7, m_moved, 50, true), 7);
  EXPECT_STREQ(m_buffer.data(), "abcdefg");
}

TEST_F(UDPSocketTransferTest, ReceiveWithoutFillReadsOnce) {
  ScriptedUDPSocket socket(Bytes("abc"), Bytes("de"));
  EXPECT_EQ(socket.Receive(m_buffer.data(), 7, m_moved, 1000, false), 3);
  EXPECT_EQ(m_moved, 3U);
  EXPECT_EQ(socket.events, Events{"receive 7"});
}

TEST_F(UDPSocketTransferTest, ReceiveReturnsWhatItHasWhenAReadBringsNothing) {
  ScriptedUDPSocket socket(Bytes("abc"), Done(0), Bytes("de"));
  EXPECT_EQ(socket.Receive(m_buffer.data(), 7, m_moved, 1000, true), 3);
  EXPECT_EQ(m_moved, 0U);
  EXPECT_EQ(socket.events, (Events{"receive 7", "receive 4"}));
}

TEST_F(UDPSocketTransferTest, ReceiveReturnsWhatItHasAfterAHarmlessError) {
  for (const int error : {0, EINTR, EAGAIN}) {
    ScriptedUDPSocket socket(Bytes("abc"), Fails(error), Bytes("de"));
    EXPECT_EQ(socket.Receive(m_buffer.data(), 7, m_moved, 1000, true), 3);
    EXPECT_EQ(m_moved, 3U);
    EXPECT_EQ(socket.events, (Events{"receive 7", "receive 4"}));
  }
}

TEST_F(UDPSocketTransferTest, AFailedReceiveThrows) {
  ScriptedUDPSocket socket(Fails(ECONNREFUSED));
  EXPECT_EQ(FailureText<SocketException>(
                [&] { socket.Receive(m_buffer.data(), 7, m_moved, 1000, false); }),
            "UDPSocket::CheckSocketStatus - error reading from the socket [] :: failed with code "
            "111: Connection refused");
}

TEST_F(UDPSocketTransferTest, ReceiveWithoutAWaitFlagWaitsForNothing) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("abc"));
  EXPECT_EQ(socket.Receive(m_buffer.data(), 7, m_moved, 1000, false), 3);
  EXPECT_EQ(waits.events, Events{"receive 7"});
}

TEST_F(UDPSocketTransferTest, AZeroLengthReceiveReadsNothingButWaitsIfTheWaitFlagIsSet) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("abc"));
  EXPECT_EQ(socket.Receive(m_buffer.data(), 0, m_moved, 1000, true), 0);
  EXPECT_EQ(waits.events, Events());
  socket.m_wait = 1;
  EXPECT_EQ(socket.Receive(m_buffer.data(), 0, m_moved, 1000, true), 0);
  EXPECT_EQ(waits.events, Events{"select 1 reading 1.000000"});
}

TEST_F(UDPSocketTransferTest, TheRawTransfersReturnTheResultOfTheSystemCall) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  EXPECT_EQ(socket.ReceiveRaw(m_buffer.data(), 4), -1);
  EXPECT_EQ(errno, EAGAIN);
  EXPECT_EQ(socket.SendRaw("abc", 3), 3);
  EXPECT_EQ(socket.SendRaw("", 0), 0);
}
