#include "tests/net/ScriptedUDPSocket.h"

namespace {

struct Server {
  Server() { listener.Listen("0"); }
  int Port() const { return Peer::PortOf(listener.m_descriptor); }
  OpenedUDPSocket listener;
};

}  // namespace

TEST(UDPSocketAcceptTest, AcceptPrintsTheDatagramAndEchoesIt) {
  for (const bool flag : {false, true}) {
    Server server;
    Peer client;
    client.SendTo(server.Port(), "hello");
    OpenedUDPSocket reply;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(server.listener.Accept(reply, flag));
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              Print("Received packet from 127.0.0.1:%d\nData: hello\n", client.Port()));
    EXPECT_EQ(client.Receive(), "hello");

    EXPECT_NE(reply.m_descriptor, server.listener.m_descriptor);
    EXPECT_EQ(IsNonBlocking(reply.m_descriptor), flag);
    EXPECT_EQ(reply.m_wait != 0, flag);
    EXPECT_EQ(reply.m_peer.sin_family, AF_INET);
    EXPECT_EQ(ntohs(reply.m_peer.sin_port), client.Port());
    EXPECT_EQ(reply.m_peer.sin_addr.s_addr, inet_addr("127.0.0.1"));
  }
}

TEST(UDPSocketAcceptTest, AcceptMakesTheReplySocketThroughItsCreateSocket) {
  for (const bool flag : {false, true}) {
    Server server;
    Peer client;
    client.SendTo(server.Port(), "hello");
    CreationRecorder reply;
    testing::internal::CaptureStdout();
    EXPECT_TRUE(server.listener.Accept(reply, flag));
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(reply.created, Events{flag ? "2 2 17 1" : "2 2 17 0"});
  }
}

TEST(UDPSocketAcceptTest, AcceptDrawsARandomTextOf16CharactersAndKeepsNone) {
  Server server;
  Peer client;
  client.SendTo(server.Port(), "hello");
  OpenedUDPSocket reply;
  Seed(4711);
  testing::internal::CaptureStdout();
  EXPECT_TRUE(server.listener.Accept(reply, false));
  testing::internal::GetCapturedStdout();
  const int next = std::rand();
  EXPECT_EQ(reply.m_key, "");
  std::srand(4711);
  for (int i = 0; i < 16; ++i) {
    std::rand();
  }
  EXPECT_EQ(next, std::rand());
}

TEST(UDPSocketAcceptTest, TheEchoGoesThroughTheReplySocketWith60Seconds) {
  class Recorder : public OpenedUDPSocket {
   public:
    int Send(const char* buffer, unsigned int length, unsigned int& sent, int timeoutMs) override {
      calls.push_back(std::string(buffer, length) + " " + std::to_string(timeoutMs));
      return OpenedUDPSocket::Send(buffer, length, sent, timeoutMs);
    }
    std::vector<std::string> calls;
  };
  Server server;
  Peer client;
  client.SendTo(server.Port(), "hello");
  server.listener.m_wait = 1;
  Recorder reply;
  const ScriptedWaits waits;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(server.listener.Accept(reply, true));
  testing::internal::GetCapturedStdout();
  EXPECT_EQ(reply.calls, std::vector<std::string>{"hello 60000"});
  EXPECT_EQ(waits.events,  // none for the listening socket
            Events{Print("select %d reading writing 60.000000", reply.m_descriptor + 1)});
}

TEST(UDPSocketAcceptTest, AcceptServesOneDatagramOfUpTo1024Bytes) {
  Server server;
  Peer client;
  client.SendTo(server.Port(), std::string(1024, 'a') + "cut");
  client.SendTo(server.Port(), "second");
  OpenedUDPSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(server.listener.Accept(reply, false));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            Print("Received packet from 127.0.0.1:%d\n", client.Port()) +
                "Data: " + std::string(1024, 'a') + "\n");
  EXPECT_EQ(client.Receive(), std::string(1024, 'a'));
  EXPECT_FALSE(client.HasDatagram());
}

TEST(UDPSocketAcceptTest, AcceptPrintsUpToAZeroByteAndEchoesEverything) {
  const std::string data("ab\0%s", 5);
  Server server;
  Peer client;
  client.SendTo(server.Port(), data);
  OpenedUDPSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_TRUE(server.listener.Accept(reply, false));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            Print("Received packet from 127.0.0.1:%d\nData: ab\n", client.Port()));
  EXPECT_EQ(client.Receive(), data);
}

TEST(UDPSocketAcceptTest, AcceptOfAnEmptyDatagramSendsNothingBackAndReturnsFalse) {
  Server server;
  Peer client;
  client.SendTo(server.Port(), "");
  OpenedUDPSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_FALSE(server.listener.Accept(reply, false));
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            Print("Received packet from 127.0.0.1:%d\nData: \n", client.Port()));
  EXPECT_FALSE(client.HasDatagram());
}

TEST(UDPSocketAcceptTest, AcceptThrowsWhenNothingCanBeReceived) {
  OpenedUDPSocket listener(-1);
  OpenedUDPSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_EQ(FailureText<SocketException>([&] { listener.Accept(reply, false); }),
            "UDPSocket::Accept - recvfrom :: failed with code 9: Bad file descriptor");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  EXPECT_EQ(reply.m_descriptor, 0);
}

TEST(UDPSocketAcceptTest, AcceptHasPrintedTheDatagramWhenThereIsNoReplySocket) {
  Server server;
  Peer client;
  client.SendTo(server.Port(), "hello");
  NoSocket reply;
  testing::internal::CaptureStdout();
  EXPECT_THROW(server.listener.Accept(reply, false), SocketException);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            Print("Received packet from 127.0.0.1:%d\nData: hello\n", client.Port()));
}
