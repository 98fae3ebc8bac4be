#include <sys/resource.h>

#include <fstream>

#include "tests/net/ScriptedUDPSocket.h"

using namespace std::string_literals;

namespace {

// While one exists, this process gets no block of more than 1 GiB.
class LimitedAddressSpace {
 public:
  LimitedAddressSpace() {
    getrlimit(RLIMIT_AS, &m_before);
    rlim_t pages = 0;  // that the process has already
    std::ifstream("/proc/self/statm") >> pages;
    const rlimit limit{
        .rlim_cur = pages * static_cast<rlim_t>(sysconf(_SC_PAGESIZE)) + (rlim_t{1} << 30),
        .rlim_max = m_before.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
  }
  ~LimitedAddressSpace() { setrlimit(RLIMIT_AS, &m_before); }
  LimitedAddressSpace(const LimitedAddressSpace&) = delete;
  LimitedAddressSpace& operator=(const LimitedAddressSpace&) = delete;

 private:
  rlimit m_before{};
};

}  // namespace

TEST(UDPSocketMessageTest, SendMessageSendsTheLengthAndThenTheBytes) {
  Peer peer;
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", std::to_string(peer.Port()), true);
  EXPECT_TRUE(socket.SendMessage("hello", 1000));
  EXPECT_EQ(peer.Receive(), "\0\0\0\5"s);
  EXPECT_EQ(peer.Receive(), "hello");
  EXPECT_TRUE(socket.SendMessage(std::string(258, 'x'), 1000));
  EXPECT_EQ(peer.Receive(), "\0\0\1\2"s);
  EXPECT_EQ(peer.Receive(), std::string(258, 'x'));
}

TEST(UDPSocketMessageTest, SendMessageWaitsItsTimeoutForTheLengthAnd60SecondsForTheBytes) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Done(4), Done(5));
  socket.m_wait = 1;
  EXPECT_TRUE(socket.SendMessage("hello", 2500));
  EXPECT_EQ(waits.events, (Events{"select 1 reading writing 2.500000", "send 4",
                                  "select 1 reading writing 60.000000", "send 5"}));
}

TEST(UDPSocketMessageTest, SendMessageIsFalseWhenEitherSendSendsNothing) {
  ScriptedUDPSocket noLength(Done(0), Done(5));
  EXPECT_FALSE(noLength.SendMessage("hello", 1000));
  EXPECT_EQ(noLength.events, Events{"send 4"});
  ScriptedUDPSocket noBytes(Done(4), Done(0));
  EXPECT_FALSE(noBytes.SendMessage("hello", 1000));
  EXPECT_EQ(noBytes.events, (Events{"send 4", "send 5"}));
}

TEST(UDPSocketMessageTest, SendMessageOfAnEmptyMessageIsFalse) {
  ScriptedUDPSocket socket(Done(4));
  EXPECT_FALSE(socket.SendMessage("", 1000));
  EXPECT_EQ(socket.sent, std::vector<std::string>{std::string(4, '\0')});
}

TEST(UDPSocketMessageTest, AMessageIsEncryptedAndDecryptedWithTheKey) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  socket.m_key = "secret";
  EXPECT_TRUE(socket.SendMessage("attack at dawn", 1000));
  EXPECT_EQ(peer.Receive(), "\0\0\0\16"s);
  EXPECT_EQ(peer.Receive(), "kqvkcj$j~&ck~g");

  peer.Answer("\0\0\0\16"s);
  peer.Answer("kqvkcj$j~&ck~g");
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "attack at dawn");
}

TEST(UDPSocketMessageTest, ReceiveMessageReceivesTheLengthAndThenThatManyBytes) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("\0\0\1\2"s), Bytes(std::string(200, 'x')),
                           Bytes(std::string(58, 'y')));
  socket.m_wait = 1;
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 2500));
  EXPECT_EQ(message, std::string(200, 'x') + std::string(58, 'y'));
  EXPECT_EQ(waits.events, (Events{"select 1 reading 2.500000", "receive 4",
                                  "select 1 reading 2.500000", "receive 258", "receive 58"}));
}

TEST(UDPSocketMessageTest, TheLengthOfAMessageMayComeInPieces) {
  ScriptedUDPSocket socket(Bytes("\0\0"s), Bytes("\0\2"s), Bytes("ab"));
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "ab");
}

TEST(UDPSocketMessageTest, ReceiveMessageWaitsForTheBytesOfAnEmptyMessageToo) {
  const ScriptedWaits waits;
  ScriptedUDPSocket socket(Bytes("\0\0\0\0"s));
  socket.m_wait = 1;
  std::string message = "before";
  EXPECT_FALSE(socket.ReceiveMessage(message, 2500));
  EXPECT_EQ(waits.events,
            (Events{"select 1 reading 2.500000", "receive 4", "select 1 reading 2.500000"}));
}

TEST(UDPSocketMessageTest, ReceiveMessageIsFalseAndKeepsTheMessageUnlessAllOfItComes) {
  const auto expectFalse = [](const Events& events, const auto&... outcomes) {
    ScriptedUDPSocket socket(outcomes...);
    std::string message = "before";
    EXPECT_FALSE(socket.ReceiveMessage(message, 1000));
    EXPECT_EQ(message, "before");
    EXPECT_EQ(socket.events, events);
  };
  const Outcome five = Bytes("\0\0\0\5"s);
  expectFalse({"receive 4"}, Done(0));
  expectFalse({"receive 4"}, Fails(EAGAIN));
  expectFalse({"receive 4", "receive 2"}, Bytes("\0\0"s), Fails(EAGAIN));
  expectFalse({"receive 4", "receive 1"}, Bytes("\0\0\1"s), Fails(EAGAIN),
              Bytes(std::string(256, 'x')));
  expectFalse({"receive 4", "receive 5"}, five, Done(0));
  expectFalse({"receive 4", "receive 5"}, five, Fails(EAGAIN));
  expectFalse({"receive 4", "receive 5", "receive 2"}, five, Bytes("abc"), Fails(EAGAIN));
  expectFalse({"receive 4"}, Bytes("\0\0\0\0"s), Bytes("hello"));  // an empty message
}

// Lengths above 65507 were refused, and the bytes after them were then read as the next length.
TEST(UDPSocketMessageTest, ReceiveMessageReceivesAnyLength) {
  const struct {
    std::string length;
    unsigned int bytes;
  } rows[] = {{"\0\0\xFF\xE4"s, 65508U},
              {"\0\1\0\0"s, 65536U},
              {"\x7F\xFF\xFF\xFF"s, 2147483647U},
              {"\x80\0\0\0"s, 2147483648U},
              {"\xFF\xFF\xFF\xFF"s, 4294967295U}};
  for (const auto& row : rows) {
    const ScriptedWaits waits;
    ScriptedUDPSocket socket(Bytes(row.length), Bytes("hello"), Fails(EAGAIN));
    socket.m_wait = 1;
    std::string message = "before";
    EXPECT_FALSE(socket.ReceiveMessage(message, 2500));  // a part of it came
    EXPECT_EQ(message, "before");
    EXPECT_EQ(waits.events,
              (Events{"select 1 reading 2.500000", "receive 4", "select 1 reading 2.500000",
                      Print("receive %u", row.bytes), Print("receive %u", row.bytes - 5)}));
  }
}

TEST(UDPSocketMessageTest, AMessageMayComeInMoreBytesThanOneDatagramHolds) {
  ScriptedUDPSocket socket(Bytes("\0\1\0\0"s), Bytes(std::string(65507, 'x')),
                           Bytes(std::string(29, 'y')));
  std::string message;
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_TRUE(message == std::string(65507, 'x') + std::string(29, 'y'));
}

TEST(UDPSocketMessageTest, AfterALengthThatNoDatagramHasTheNextMessageIsReceived) {
  Peer peer;
  OpenedUDPSocket socket;
  ConnectTo(peer, socket, true);
  peer.Answer("\0\1\0\0"s);
  peer.Answer("hello");
  std::string message = "before";
  EXPECT_FALSE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "before");
  peer.Answer("\0\0\0\4"s);
  peer.Answer("next");
  EXPECT_TRUE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "next");
}

TEST(UDPSocketMessageTest, OnlyTheBytesThatComeTakeMemory) {
  const auto residentKilobytes = [] {
    rusage use{};
    getrusage(RUSAGE_SELF, &use);
    return use.ru_maxrss;
  };
  const auto before = residentKilobytes();
  ScriptedUDPSocket socket(Bytes("\x40\0\0\0"s), Bytes("hello"), Fails(EAGAIN));
  std::string message;
  EXPECT_FALSE(socket.ReceiveMessage(message, 1000));  // of 1 GiB
  EXPECT_LT(residentKilobytes() - before, 100 * 1024);
}

TEST(UDPSocketMessageTest, ReceiveMessageIsFalseWithoutEnoughMemory) {
  const LimitedAddressSpace limited;
  ScriptedUDPSocket socket(Bytes("\xFF\xFF\xFF\xFF"s), Bytes("hello"));
  std::string message = "before";
  EXPECT_FALSE(socket.ReceiveMessage(message, 1000));
  EXPECT_EQ(message, "before");
  EXPECT_EQ(socket.events, Events{"receive 4"});
}

TEST(UDPSocketMessageTest, AFailureOfATransferLeavesTheMessageOperations) {
  ScriptedUDPSocket sender(Fails(ECONNRESET));
  EXPECT_THROW(sender.SendMessage("hello", 1000), SocketException);
  ScriptedUDPSocket receiver(Fails(ECONNRESET));
  std::string message;
  EXPECT_THROW(receiver.ReceiveMessage(message, 1000), SocketException);
}
