// PolicyConnection on a pair of connected sockets: how it ends, and when.

#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <regex>
#include <string>
#include <thread>

#include "examples/policy_server/PolicyConnection.h"
#include "tests/policy_server/PolicyClient.h"
#include "tests/support/CapturedOutput.h"

namespace {

using namespace std::chrono_literals;

constexpr int kLong = 60000;
constexpr char kRequest[] = "request=smtpd_access_policy\n\n";
constexpr char kAnswer[] = "action=DUNNO\n\n";

class Pair {
 public:
  explicit Pair(int timeout)
      : m_descriptors(MakeSockets()),
        m_client(m_descriptors[0]),
        m_connection(m_descriptors[1], timeout, "peer") {}

  const PolicyClient& Client() const { return m_client; }
  PolicyConnection& Connection() { return m_connection; }

  void Start() { m_connection.StartObjectThread(false, -1); }

  // Waits, at most 10 s.
  bool HasEnded() const {
    for (int attempt = 0; attempt < 1000 && !m_connection.HasEnded(); ++attempt) {
      std::this_thread::sleep_for(10ms);
    }
    return m_connection.HasEnded();
  }

 private:
  static std::array<int, 2> MakeSockets() {
    std::array<int, 2> descriptors{};
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, descriptors.data()), 0);
    return descriptors;
  }

  std::array<int, 2> m_descriptors;
  PolicyClient m_client;
  PolicyConnection m_connection;
};

// Times of decisions as 0.
std::string WithoutTimes(const std::string& log) {
  return std::regex_replace(log, std::regex(R"(\(\d+ ms\))"), "(0 ms)");
}

// What a connection logs while action runs with it.
template <typename Action>
std::string LogOf(int timeout, const Action& action) {
  const std::string log = CaptureLog([&] {
    Pair pair(timeout);
    pair.Start();
    action(pair);
    EXPECT_TRUE(pair.HasEnded());
  });
  return WithoutTimes(log);
}

constexpr char kAnswered[] =
    "Info: PolicyConnection::Answer - DUNNO (0 ms) client  sender <> helo \n";
constexpr char kClosed[] = "Warning: PolicyConnection::ObjectThreadMethod - closed peer: ";

}  // namespace

TEST(PolicyConnectionTest, AnyNumberOfRequestsIsAnsweredUntilThePeerEnds) {
  const std::string log = LogOf(kLong, [](const Pair& pair) {
    for (int i = 0; i < 3; ++i) {
      EXPECT_TRUE(pair.Client().Write(kRequest));
      EXPECT_EQ(pair.Client().ReadAnswer(), kAnswer);
    }
    pair.Client().EndWriting();
    EXPECT_EQ(pair.Client().ReadAnswer(), "closed");
  });
  EXPECT_EQ(log, std::string(kAnswered) + kAnswered + kAnswered);
}

TEST(PolicyConnectionTest, ASilentPeerIsLeft) {
  const auto start = std::chrono::steady_clock::now();
  const std::string log =
      LogOf(300, [](const Pair& pair) { EXPECT_EQ(pair.Client().ReadAnswer(), "closed"); });
  EXPECT_GE(std::chrono::steady_clock::now() - start, 300ms);
  EXPECT_EQ(log, std::string(kClosed) + "no complete request in time\n");
}

TEST(PolicyConnectionTest, APeerWithoutEndIsLeftHoweverItDribbles) {
  const auto start = std::chrono::steady_clock::now();
  const std::string log = LogOf(300, [](const Pair& pair) {
    for (int i = 0; i < 1000 && pair.Client().Write("x"); ++i) {
      std::this_thread::sleep_for(10ms);
    }
    EXPECT_EQ(pair.Client().ReadAnswer(), "closed");
  });
  EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);  // it would dribble for 10 s
  EXPECT_EQ(log, std::string(kClosed) + "no complete request in time\n");
}

TEST(PolicyConnectionTest, EachAnswerGivesThePeerItsTimeAnew) {
  LogOf(2000, [](const Pair& pair) {
    for (int i = 0; i < 3; ++i) {
      std::this_thread::sleep_for(1s);
      EXPECT_TRUE(pair.Client().Write(kRequest));
      EXPECT_EQ(pair.Client().ReadAnswer(), kAnswer);
    }
    pair.Client().EndWriting();
  });
}

TEST(PolicyConnectionTest, APeerThatDoesNotReadIsLeft) {
  const std::string log = LogOf(kLong, [](const Pair& pair) {
    for (int i = 0; i < 1000000 && pair.Client().Write(kRequest); ++i) {
    }
  });
  EXPECT_TRUE(log.ends_with(std::string(kClosed) +
                            "PolicyConnection::Send - send :: failed with code 11: "
                            "Resource temporarily unavailable\n"))
      << log.substr(log.size() - std::min<std::size_t>(log.size(), 500));
}

TEST(PolicyConnectionTest, APeerThatHasGoneBeforeItsAnswerIsAWarning) {
  const std::string log = CaptureLog([] {
    std::array<int, 2> descriptors{};
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, descriptors.data()), 0);
    { EXPECT_TRUE(PolicyClient(descriptors[0]).Write(kRequest)); }
    PolicyConnection connection(descriptors[1], kLong, "peer");
    connection.StartObjectThread(false, -1);
    connection.JoinObjectThread();
  });
  EXPECT_EQ(WithoutTimes(log),
            std::string(kAnswered) + kClosed +
                "PolicyConnection::Send - send :: failed with code 32: Broken pipe\n");
}

TEST(PolicyConnectionTest, ToldToEndItClosesTheConnectionAndSaysNothing) {
  const std::string log = LogOf(kLong, [](Pair& pair) {
    EXPECT_TRUE(pair.Client().Write("sender=half"));
    EXPECT_FALSE(pair.Client().HasAnswer(200));
    EXPECT_FALSE(pair.Connection().HasEnded());
    pair.Connection().BeginToEnd();
    EXPECT_EQ(pair.Client().ReadAnswer(), "closed");
  });
  EXPECT_EQ(log, "");
}

TEST(PolicyConnectionTest, DestroyedItEndsItsThread) {
  DoNotLog();
  Pair* const pair = new Pair(kLong);
  pair->Start();
  delete pair;  // does not return while the thread waits for the peer

  const Pair neverStarted(kLong);
}
