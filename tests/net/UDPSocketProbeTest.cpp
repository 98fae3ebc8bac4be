#include "tests/net/ScriptedUDPSocket.h"

TEST(UDPSocketProbeTest, TheEchoOfARandomProbeBecomesTheKey) {
  for (const bool nonBlocking : {false, true}) {
    Peer peer;
    std::string probe;
    std::jthread echo([&] {
      probe = peer.Receive();
      peer.Answer(probe);
    });
    OpenedUDPSocket socket;
    EXPECT_EQ(socket.ConnectAndProbe("127.0.0.1", std::to_string(peer.Port()), nonBlocking),
              inet_addr("127.0.0.1"));
    echo.join();
    ExpectProbe(probe);
    EXPECT_EQ(socket.m_key, probe);
    EXPECT_EQ(IsNonBlocking(socket.m_descriptor), nonBlocking);
  }
}

TEST(UDPSocketProbeTest, AProbeIsDrawnFromTheAlphabetByTheGenerator) {
  ScriptedUDPSocket socket;
  for (const unsigned int seed : {1U, 4711U}) {
    Seed(seed);
    socket.ConnectAndProbe("127.0.0.1", "7", false);
    std::srand(seed);
    std::string expected;
    for (int i = 0; i < 16; ++i) {
      expected += kAlphabet[static_cast<std::size_t>(std::rand() % 61)];
    }
    EXPECT_EQ(socket.sent.back(), expected);
  }
}

TEST(UDPSocketProbeTest, TheAlphabetOfTheProbesHas61CharactersAndNoZero) {
  ScriptedUDPSocket socket;
  std::set<char> seen;
  for (int i = 0; i < 200; ++i) {
    socket.ConnectAndProbe("127.0.0.1", "7", false);
    seen.insert(socket.sent.back().begin(), socket.sent.back().end());
  }
  EXPECT_EQ(seen.size(), 61U);
  EXPECT_EQ(seen.count('0'), 0U);
}

TEST(UDPSocketProbeTest, TheReplyIsTheKeyEvenIfItIsNotAnEcho) {
  ScriptedUDPSocket socket(Done(16), Bytes("abcdefgh"), Bytes("12345678"));
  socket.ConnectAndProbe("127.0.0.1", "7", false);
  ExpectProbe(socket.sent.at(0));
  EXPECT_EQ(socket.m_key, "abcdefgh12345678");
  EXPECT_EQ(socket.events, (Events{"send 16", "receive 16", "receive 8"}));
}

TEST(UDPSocketProbeTest, TheReplyIsTheKeyEvenIfItIsShorterThanTheProbe) {
  ScriptedUDPSocket part(Done(16), Bytes("abc"), Fails(EAGAIN));
  part.ConnectAndProbe("127.0.0.1", "7", false);
  EXPECT_EQ(part.m_key, "abc");
  ScriptedUDPSocket nothing(Done(16), Done(0));
  nothing.ConnectAndProbe("127.0.0.1", "7", false);
  EXPECT_EQ(nothing.m_key, "");
}

TEST(UDPSocketProbeTest, ConnectAndProbeWaitsUpTo60SecondsForEachTransfer) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(16), Bytes(std::string(16, 'x')));
  socket.ConnectAndProbe("127.0.0.1", "7", true);
  const int count = socket.m_descriptor + 1;
  EXPECT_EQ(waits.events, (Events{Print("select %d reading writing 60.000000", count), "send 16",
                                  Print("select %d reading 60.000000", count), "receive 16"}));
}

TEST(UDPSocketProbeTest, AProbeWithoutAReplyTimesOutAndIsTheKey) {
  const ScriptedWaits waits(Done(1), Done(0));
  ScriptedUDPSocket socket(Done(16));
  EXPECT_EQ(FailureText<UDPSocketTimeoutException>(
                [&] { socket.ConnectAndProbe("127.0.0.1", "7", true); }),
            "UDPSocket::SelectReadWrite - timed out (60000) while reading from the socket on () :: "
            "failed with code 110: Connection timed out");
  EXPECT_EQ(socket.m_key, socket.sent.at(0));
}

TEST(UDPSocketProbeTest, ConnectAndProbeRefusesWhatConnectRefuses) {
  ScriptedUDPSocket socket;
  EXPECT_EQ(FailureText<UDPSocketException>([&] { socket.ConnectAndProbe("0.0.0.0", "7", false); }),
            "UDPSocket::Connect - inet_addr() failed");
  EXPECT_EQ(socket.events, Events());
}

TEST(UDPSocketProbeTest, ConnectAndProbeThrowsWhenASendReturnsMinusOne) {
  class NoSend : public ScriptedUDPSocket {
   public:
    int Send(const char* /*buffer*/, unsigned int /*length*/, unsigned int& /*sent*/,
             int /*timeoutMs*/) override {
      return -1;
    }
  };
  NoSend socket;
  EXPECT_EQ(
      FailureText<UDPSocketException>([&] { socket.ConnectAndProbe("127.0.0.1", "7", false); }),
      "UDPSocket::Connect - Send failed");
  EXPECT_EQ(socket.m_key, "");
  EXPECT_EQ(socket.events, Events());
}

TEST(UDPSocketProbeTest, ConnectAndProbeThrowsWhenAReceiveReturnsMinusOne) {
  class NoReceive : public ScriptedUDPSocket {
   public:
    using ScriptedUDPSocket::ScriptedUDPSocket;
    int Receive(char* /*buffer*/, unsigned int length, unsigned int& /*received*/, int timeoutMs,
                bool fill) override {
      EXPECT_EQ(length, 16U);
      EXPECT_EQ(timeoutMs, 60000);
      EXPECT_TRUE(fill);
      return -1;
    }
  };
  NoReceive socket(Done(16));
  EXPECT_EQ(
      FailureText<UDPSocketException>([&] { socket.ConnectAndProbe("127.0.0.1", "7", false); }),
      "UDPSocket::Connect - Receive failed");
  EXPECT_EQ(socket.m_key, socket.sent.at(0));
}
