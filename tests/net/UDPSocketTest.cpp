// Making, connecting and destroying.

#include "tests/net/ScriptedUDPSocket.h"
#include "tests/support/StreamPair.h"

TEST(UDPSocketTest, ANewSocketHasItsArgumentsAndNoPeer) {
  OpenedUDPSocket socket(0, 30000);
  EXPECT_EQ(socket.m_descriptor, 0);
  EXPECT_EQ(socket.m_timeout, 30000);
  EXPECT_EQ(socket.m_wait, 0);
  EXPECT_EQ(socket.m_peerDescription, "");
}

TEST(UDPSocketTest, DestroyClosesWithoutAShutdown) {
  const StreamPair pair;
  const int copy = dup(pair.One());
  OpenedUDPSocket socket(copy);
  socket.Destroy();
  EXPECT_EQ(socket.m_descriptor, 0);
  EXPECT_FALSE(IsOpen(copy));
  EXPECT_EQ(send(pair.Other(), "x", 1, MSG_DONTWAIT | MSG_NOSIGNAL), 1);
}

TEST(UDPSocketTest, DestroyMayBeCalledAnyNumberOfTimes) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", false);
  socket.Destroy();
  EXPECT_NO_THROW(socket.Destroy());
  EXPECT_EQ(socket.m_descriptor, 0);
}

TEST(UDPSocketTest, DestroyResetsANegativeDescriptorToo) {
  OpenedUDPSocket socket(-1);
  EXPECT_NO_THROW(socket.Destroy());
  EXPECT_EQ(socket.m_descriptor, 0);
}

TEST(UDPSocketTest, TheDestructorClosesWithoutAShutdown) {
  const StreamPair pair;
  const int copy = dup(pair.One());
  { const OpenedUDPSocket socket(copy); }
  EXPECT_FALSE(IsOpen(copy));
  EXPECT_EQ(send(pair.Other(), "x", 1, MSG_DONTWAIT | MSG_NOSIGNAL), 1);
}

TEST(UDPSocketTest, ConnectSetsThePeerAndReturnsItsAddress) {
  OpenedUDPSocket socket;
  EXPECT_EQ(socket.Connect("192.0.2.1", "53", false), inet_addr("192.0.2.1"));
  EXPECT_EQ(socket.m_port, 53);
  EXPECT_EQ(socket.m_peer.sin_family, 2);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 53);
  EXPECT_EQ(socket.m_peer.sin_addr.s_addr, inet_addr("192.0.2.1"));
  EXPECT_EQ(std::string(reinterpret_cast<const char*>(socket.m_peer.sin_zero), 8),
            std::string(8, '\0'));
  EXPECT_EQ(socket.m_peerDescription, "");
}

TEST(UDPSocketTest, ConnectLeavesTheSocketUnconnected) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", false);
  sockaddr_in name{};
  socklen_t length = sizeof(name);
  EXPECT_EQ(getpeername(socket.m_descriptor, reinterpret_cast<sockaddr*>(&name), &length), -1);
}

TEST(UDPSocketTest, ConnectExchangesNoDatagram) {
  const Peer peer;
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), true);
  EXPECT_FALSE(peer.HasDatagram());
}

TEST(UDPSocketTest, ConnectMakesAUDPSocketThroughCreateSocket) {
  CreationRecorder socket;
  socket.Connect("127.0.0.1", "53", false);
  socket.Connect("127.0.0.1", "53", true);
  EXPECT_EQ(socket.created, (Events{"2 2 17 0", "2 2 17 1"}));
}

TEST(UDPSocketTest, ConnectReadsADecimalPortAndKeepsItsLow16Bits) {
  const struct {
    const char* text;
    int port;
  } rows[] = {{"53", 53},       {" 53", 53},  {"53x", 53},   {"", 0},    {"smtp", 0},
              {"65535", 65535}, {"65536", 0}, {"-1", 65535}, {"0x35", 0}};
  for (const auto& row : rows) {
    OpenedUDPSocket socket;
    socket.Connect("127.0.0.1", row.text, false);
    EXPECT_EQ(socket.m_port, row.port) << row.text;
    EXPECT_EQ(ntohs(socket.m_peer.sin_port), row.port) << row.text;
  }
}

TEST(UDPSocketTest, ConnectRefusesTheAddress0000AfterOpeningTheSocket) {
  OpenedUDPSocket socket;
  EXPECT_EQ(FailureText<UDPSocketException>([&] { socket.Connect("0.0.0.0", "53", false); }),
            "UDPSocket::Connect - inet_addr() failed");
  EXPECT_EQ(socket.m_port, 53);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 53);
  EXPECT_GT(socket.m_descriptor, 0);
}

TEST(UDPSocketTest, ConnectReadsATextThatIsNotAnAddressAsAllOnes) {
  for (const char* const text : {"name.server.test", "1.2.3.256", "255.255.255.255", "1.2.3.4.5"}) {
    OpenedUDPSocket socket;
    EXPECT_EQ(socket.Connect(text, "53", false), 0xFFFFFFFFU) << text;
    EXPECT_EQ(socket.m_peer.sin_addr.s_addr, 0xFFFFFFFFU) << text;
  }
}

TEST(UDPSocketTest, ANonBlockingConnectMakesASocketThatWaits) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  EXPECT_TRUE(IsNonBlocking(socket.m_descriptor));
  EXPECT_EQ(socket.m_nonBlocking, 1);
  EXPECT_NE(socket.m_wait, 0);
}

TEST(UDPSocketTest, ABlockingConnectKeepsTheWaitFlag) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", false);
  EXPECT_FALSE(IsNonBlocking(socket.m_descriptor));
  EXPECT_EQ(socket.m_wait, 0);
  socket.m_wait = 1;
  socket.Connect("127.0.0.1", "53", false);
  EXPECT_EQ(socket.m_wait, 1);
}

TEST(UDPSocketTest, ANewConnectClosesThePreviousSocket) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "53", true);
  const std::ptrdiff_t before = OpenDescriptors();
  for (int i = 0; i < 20; ++i) {
    socket.Connect("127.0.0.1", "54", true);
  }
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 54);
}

TEST(UDPSocketTest, AConnectThatGetsNoSocketSetsThePortButNotThePeer) {
  NoSocket socket;
  socket.m_peer.sin_port = htons(7);
  EXPECT_EQ(FailureText<SocketException>([&] { socket.Connect("192.0.2.1", "53", true); }),
            "no socket");
  EXPECT_EQ(socket.m_port, 53);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 7);
  EXPECT_EQ(socket.m_peer.sin_addr.s_addr, 0U);
}

TEST(UDPSocketTest, PeerPortWaitFlagAndKeyOutliveDestroy) {
  OpenedUDPSocket socket;
  socket.m_key = "secret";
  socket.Connect("127.0.0.1", "53", true);
  socket.Destroy();
  EXPECT_NE(socket.m_wait, 0);
  EXPECT_EQ(socket.m_port, 53);
  EXPECT_EQ(ntohs(socket.m_peer.sin_port), 53);
  EXPECT_EQ(socket.m_peer.sin_addr.s_addr, inet_addr("127.0.0.1"));
  EXPECT_EQ(socket.m_key, "secret");
}
