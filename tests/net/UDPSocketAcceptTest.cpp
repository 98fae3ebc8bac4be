#include "tests/net/ScriptedUDPSocket.h"
#include "tests/support/CapturedOutput.h"

namespace {

class UDPSocketAcceptTest : public testing::Test {
 protected:
  UDPSocketAcceptTest() { m_listener.Listen("0"); }
  ~UDPSocketAcceptTest() noexcept override = default;

  void SendToListener(const std::string& datagram) {
    m_client.SendTo(Peer::PortOf(m_listener.m_descriptor), datagram);
  }

  // Returns the result of Accept and keeps its output.
  bool Accept(UDPSocket& reply, bool nonBlocking = false) {
    bool result = false;
    m_printed = CaptureOutput([&] { result = m_listener.Accept(reply, nonBlocking); });
    return result;
  }

  // Returns what Accept prints for a datagram with this text.
  std::string Printed(const std::string& text) const {
    return Print("Received packet from 127.0.0.1:%d\nData: ", m_client.Port()) + text + "\n";
  }

  OpenedUDPSocket m_listener;
  Peer m_client;
  std::string m_printed;
};

}  // namespace

TEST_F(UDPSocketAcceptTest, AcceptPrintsTheDatagramAndEchoesIt) {
  for (const bool nonBlocking : {false, true}) {
    SendToListener("hello");
    OpenedUDPSocket reply;
    EXPECT_TRUE(Accept(reply, nonBlocking));
    EXPECT_EQ(m_printed, Printed("hello"));
    EXPECT_EQ(m_client.Receive(), "hello");

    EXPECT_NE(reply.m_descriptor, m_listener.m_descriptor);
    EXPECT_EQ(IsNonBlocking(reply.m_descriptor), nonBlocking);
    EXPECT_EQ(reply.m_wait != 0, nonBlocking);
    EXPECT_EQ(reply.m_peer.sin_family, AF_INET);
    EXPECT_EQ(ntohs(reply.m_peer.sin_port), m_client.Port());
    EXPECT_EQ(reply.m_peer.sin_addr.s_addr, inet_addr("127.0.0.1"));
  }
}

TEST_F(UDPSocketAcceptTest, AcceptMakesTheReplySocketThroughItsCreateSocket) {
  CreationRecorder reply;
  for (const bool nonBlocking : {false, true}) {
    SendToListener("hello");
    EXPECT_TRUE(Accept(reply, nonBlocking));
  }
  EXPECT_EQ(reply.created, (Events{"2 2 17 0", "2 2 17 1"}));
}

TEST_F(UDPSocketAcceptTest, AcceptDrawsARandomTextOf16CharactersAndDropsIt) {
  SendToListener("hello");
  OpenedUDPSocket reply;
  Seed(4711);
  EXPECT_TRUE(Accept(reply));
  const int next = std::rand();
  EXPECT_EQ(reply.m_key, "");
  std::srand(4711);
  for (int i = 0; i < 16; ++i) {
    std::rand();
  }
  EXPECT_EQ(next, std::rand());
}

TEST_F(UDPSocketAcceptTest, TheEchoGoesThroughTheReplySocketWith60Seconds) {
  class Recorder : public OpenedUDPSocket {
   public:
    int Send(const char* buffer, unsigned int length, unsigned int& sent, int timeoutMs) override {
      calls.push_back(std::string(buffer, length) + " " + std::to_string(timeoutMs));
      return OpenedUDPSocket::Send(buffer, length, sent, timeoutMs);
    }
    std::vector<std::string> calls;
  };
  SendToListener("hello");
  m_listener.m_wait = 1;
  Recorder reply;
  const ScriptedWaits waits;
  EXPECT_TRUE(Accept(reply, true));
  EXPECT_EQ(reply.calls, std::vector<std::string>{"hello 60000"});
  EXPECT_EQ(waits.events,  // none for the listening socket
            Events{Print("select %d reading writing 60.000000", reply.m_descriptor + 1)});
}

TEST_F(UDPSocketAcceptTest, AcceptServesOneDatagramOfUpTo1024Bytes) {
  SendToListener(std::string(1024, 'a') + "cut");
  SendToListener("second");
  OpenedUDPSocket reply;
  EXPECT_TRUE(Accept(reply));
  EXPECT_EQ(m_printed, Printed(std::string(1024, 'a')));
  EXPECT_EQ(m_client.Receive(), std::string(1024, 'a'));
  EXPECT_FALSE(m_client.HasDatagram());
}

TEST_F(UDPSocketAcceptTest, AcceptPrintsUpToAZeroByteAndEchoesEverything) {
  const std::string data("ab\0%s", 5);
  SendToListener(data);
  OpenedUDPSocket reply;
  EXPECT_TRUE(Accept(reply));
  EXPECT_EQ(m_printed, Printed("ab"));
  EXPECT_EQ(m_client.Receive(), data);
}

TEST_F(UDPSocketAcceptTest, AcceptOfAnEmptyDatagramSendsNothingAndReturnsFalse) {
  SendToListener("");
  OpenedUDPSocket reply;
  EXPECT_FALSE(Accept(reply));
  EXPECT_EQ(m_printed, Printed(""));
  EXPECT_FALSE(m_client.HasDatagram());
}

TEST_F(UDPSocketAcceptTest, AcceptThrowsWhenNothingCanBeReceived) {
  OpenedUDPSocket listener(-1);
  OpenedUDPSocket reply;
  EXPECT_EQ(CaptureOutput([&] {
              EXPECT_EQ(FailureText<SocketException>([&] { listener.Accept(reply, false); }),
                        "UDPSocket::Accept - recvfrom :: failed with code 9: Bad file descriptor");
            }),
            "");
  EXPECT_EQ(reply.m_descriptor, 0);
}

TEST_F(UDPSocketAcceptTest, AcceptPrintsTheDatagramBeforeItMakesTheReplySocket) {
  SendToListener("hello");
  NoSocket reply;
  EXPECT_EQ(CaptureOutput([&] { EXPECT_THROW(m_listener.Accept(reply, false), SocketException); }),
            Printed("hello"));
}
