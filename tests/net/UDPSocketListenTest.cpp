#include "tests/net/ScriptedUDPSocket.h"
#include "tests/support/RealFunction.h"

namespace {

// While one exists, this process seems to have the ids below, and changes of identity are only
// noted, together with the binds between them.
class ScriptedIdentity {
 public:
  ScriptedIdentity() { active = this; }
  ~ScriptedIdentity() {  // -1 leaves an id as it is, for the tests after this one
    realUser = realGroup = effectiveUser = effectiveGroup = static_cast<uid_t>(-1);
    UDPSocket::SaveIdentity();
    active = nullptr;
  }
  ScriptedIdentity(const ScriptedIdentity&) = delete;
  ScriptedIdentity& operator=(const ScriptedIdentity&) = delete;

  void Note(const char* call, uid_t first, uid_t second) {
    events.push_back(Print("%s %d %d", call, static_cast<int>(first), static_cast<int>(second)));
  }

  inline static ScriptedIdentity* active = nullptr;
  uid_t realUser = 11;
  uid_t effectiveUser = 12;
  gid_t realGroup = 13;
  gid_t effectiveGroup = 14;
  Events events;
};

// As above, where these ids are saved.
class SavedIdentity : public ScriptedIdentity {
 public:
  SavedIdentity() {
    UDPSocket::SaveIdentity();
    events.clear();
  }
};

}  // namespace

extern "C" {

int bind(int descriptor, const sockaddr* address, socklen_t length) noexcept {
  static const auto real = RealFunction(&bind, "bind");
  if (ScriptedIdentity::active != nullptr) {
    ScriptedIdentity::active->events.emplace_back("bind");
  }
  return real(descriptor, address, length);
}

int setreuid(uid_t realId, uid_t effectiveId) noexcept {
  static const auto real = RealFunction(&setreuid, "setreuid");
  if (ScriptedIdentity::active == nullptr) {
    return real(realId, effectiveId);
  }
  ScriptedIdentity::active->Note("setreuid", realId, effectiveId);
  return 0;
}

int setregid(gid_t realId, gid_t effectiveId) noexcept {
  static const auto real = RealFunction(&setregid, "setregid");
  if (ScriptedIdentity::active == nullptr) {
    return real(realId, effectiveId);
  }
  ScriptedIdentity::active->Note("setregid", realId, effectiveId);
  return 0;
}

uid_t getuid() noexcept {
  static const auto real = RealFunction(&getuid, "getuid");
  return ScriptedIdentity::active != nullptr ? ScriptedIdentity::active->realUser : real();
}

uid_t geteuid() noexcept {
  static const auto real = RealFunction(&geteuid, "geteuid");
  return ScriptedIdentity::active != nullptr ? ScriptedIdentity::active->effectiveUser : real();
}

gid_t getgid() noexcept {
  static const auto real = RealFunction(&getgid, "getgid");
  return ScriptedIdentity::active != nullptr ? ScriptedIdentity::active->realGroup : real();
}

gid_t getegid() noexcept {
  static const auto real = RealFunction(&getegid, "getegid");
  return ScriptedIdentity::active != nullptr ? ScriptedIdentity::active->effectiveGroup : real();
}

}  // extern "C"

TEST(UDPSocketListenTest, ListenBindsToThePortOnAllAddresses) {
  for (const int port : {53, 1023, 5353}) {
    OpenedUDPSocket socket;
    EXPECT_TRUE(socket.Listen(std::to_string(port)));
    EXPECT_EQ(socket.m_port, port);
    EXPECT_FALSE(IsNonBlocking(socket.m_descriptor));
    EXPECT_EQ(socket.m_wait, 0);
    sockaddr_in name{};
    socklen_t length = sizeof(name);
    getsockname(socket.m_descriptor, reinterpret_cast<sockaddr*>(&name), &length);
    EXPECT_EQ(name.sin_family, AF_INET);
    EXPECT_EQ(ntohs(name.sin_port), port);
    EXPECT_EQ(name.sin_addr.s_addr, 0U);
  }
}

TEST(UDPSocketListenTest, ListenMakesABlockingSocketThroughCreateSocket) {
  CreationRecorder socket;
  socket.Listen("5353");
  EXPECT_EQ(socket.created, Events{"2 2 17 0"});
}

TEST(UDPSocketListenTest, ASecondListenReturnsTrueAndDoesNothing) {
  OpenedUDPSocket socket;
  EXPECT_TRUE(socket.Listen("5353"));
  const int descriptor = socket.m_descriptor;
  const ScriptedIdentity identity;
  EXPECT_TRUE(socket.Listen("53"));
  EXPECT_EQ(identity.events, Events());
  EXPECT_EQ(socket.m_descriptor, descriptor);
  EXPECT_EQ(socket.m_port, 5353);
  EXPECT_EQ(Peer::PortOf(descriptor), 5353);
}

TEST(UDPSocketListenTest, ListenOnAnOpenSocketDoesNothing) {
  OpenedUDPSocket socket;
  socket.Connect("127.0.0.1", "99", false);
  EXPECT_TRUE(socket.Listen("5353"));
  EXPECT_EQ(socket.m_port, 99);
  EXPECT_EQ(Peer::PortOf(socket.m_descriptor), 0);
}

TEST(UDPSocketListenTest, ListenTakesANegativeDescriptorForNone) {
  OpenedUDPSocket socket(-1);
  EXPECT_TRUE(socket.Listen("5353"));
  EXPECT_GT(socket.m_descriptor, 0);
  EXPECT_EQ(Peer::PortOf(socket.m_descriptor), 5353);
}

TEST(UDPSocketListenTest, ListenThrowsWhenThePortIsTaken) {
  for (const char* const port : {"53", "5353"}) {
    OpenedUDPSocket first;
    first.Listen(port);
    OpenedUDPSocket second;
    EXPECT_EQ(FailureText<SocketException>([&] { second.Listen(port); }),
              "Listen - bind :: failed with code 98: Address already in use");
    EXPECT_EQ(second.m_port, 0);
  }
}

TEST(UDPSocketListenTest, AfterAFailedBindTheSocketIsOpenAndUnboundUntilItIsDestroyed) {
  OpenedUDPSocket first;
  first.Listen("5353");
  OpenedUDPSocket second;
  EXPECT_THROW(second.Listen("5353"), SocketException);
  EXPECT_TRUE(IsOpen(second.m_descriptor));
  first.Destroy();
  EXPECT_TRUE(second.Listen("5353"));  // because it is open
  EXPECT_EQ(Peer::PortOf(second.m_descriptor), 0);
  second.Destroy();
  EXPECT_TRUE(second.Listen("5353"));
  EXPECT_EQ(Peer::PortOf(second.m_descriptor), 5353);
}

TEST(UDPSocketListenTest, SaveIdentityReadsTheFourIdsAndAppliesThemOnce) {
  ScriptedIdentity identity;
  UDPSocket::SaveIdentity();
  EXPECT_EQ(identity.events, (Events{"setreuid 11 12", "setregid 13 14"}));
}

TEST(UDPSocketListenTest, ListenOnAPrivilegedPortSwapsTheIdsDuringTheBind) {
  for (const char* const port : {"0", "53", "1023"}) {
    SavedIdentity identity;
    OpenedUDPSocket socket;
    EXPECT_TRUE(socket.Listen(port));
    EXPECT_EQ(identity.events, (Events{"setreuid 12 11", "setregid 14 13", "bind", "setreuid 11 12",
                                       "setregid 13 14"}))
        << port;
  }
}

TEST(UDPSocketListenTest, ListenOnAPortAbove1023ChangesNoId) {
  for (const char* const port : {"1024", "65535"}) {
    SavedIdentity identity;
    OpenedUDPSocket socket;
    EXPECT_TRUE(socket.Listen(port));
    EXPECT_EQ(identity.events, Events{"bind"}) << port;
  }
}

TEST(UDPSocketListenTest, ListenReadsItsPortAsConnectDoes) {
  const struct {
    const char* text;
    int port;
    std::size_t events;  // the bind, with four changes of ids for a privileged port
  } rows[] = {{" 5353x", 5353, 1}, {"65589", 53, 5}, {"", 0, 5}};
  for (const auto& row : rows) {
    SavedIdentity identity;
    OpenedUDPSocket socket;
    EXPECT_TRUE(socket.Listen(row.text));
    EXPECT_EQ(socket.m_port, row.port) << row.text;
    EXPECT_EQ(identity.events.size(), row.events) << row.text;
  }
}

TEST(UDPSocketListenTest, ListenLeavesTheIdsSwappedWhenTheBindFails) {
  OpenedUDPSocket first;
  first.Listen("53");
  SavedIdentity identity;
  OpenedUDPSocket second;
  EXPECT_THROW(second.Listen("53"), SocketException);
  EXPECT_EQ(identity.events, (Events{"setreuid 12 11", "setregid 14 13", "bind"}));
}

TEST(UDPSocketListenTest, ListenThatGetsNoSocketChangesNoId) {
  SavedIdentity identity;
  NoSocket socket;
  EXPECT_THROW(socket.Listen("53"), SocketException);
  EXPECT_EQ(identity.events, Events());
}

TEST(UDPSocketListenTest, ListenUsesTheSavedIdsRatherThanTheCurrentOnes) {
  SavedIdentity identity;
  identity.realUser = identity.effectiveUser = 99;
  identity.realGroup = identity.effectiveGroup = 99;
  OpenedUDPSocket socket;
  socket.Listen("53");
  EXPECT_EQ(identity.events.at(0), "setreuid 12 11");
  EXPECT_EQ(identity.events.at(1), "setregid 14 13");
}

TEST(UDPSocketListenTest, BeforeSaveIdentityListenChangesNoId) {
  ScriptedIdentity identity;
  OpenedUDPSocket socket;
  EXPECT_TRUE(socket.Listen("53"));
  for (const std::string& event : identity.events) {
    EXPECT_TRUE(event == "bind" || event == "setreuid -1 -1" || event == "setregid -1 -1") << event;
  }
}
