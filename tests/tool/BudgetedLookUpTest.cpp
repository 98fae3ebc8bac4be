#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "framework/core/Exceptions.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/support/CapturedOutput.h"
#include "tests/support/FailureText.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"
#include "tests/support/StreamPair.h"
#include "tests/tool/RecordingObserver.h"
#include "tests/tool/VirtualTable.h"
#include "tool/BudgetException.h"
#include "tool/BudgetedLookUp.h"
#include "tool/CheckBudget.h"

using namespace std::string_literals;

namespace {

using std::chrono::milliseconds;
using Clock = CheckBudget::Clock;
using Outcome = LookUp::Outcome;
using Reason = BudgetException::Reason;
using Build = std::function<void(ReplyBuilder& reply)>;
using Texts = std::vector<std::string>;

constexpr char kRecord[] = "v=spf1 ip4:192.0.2.1 -all";

ScriptedNameServer::Script Answer(const Build& build) {
  return [build](const Bytes& query) {
    ReplyBuilder reply(query);
    build(reply);
    return Datagrams{reply.Build()};
  };
}

class BudgetedLookUpTest : public testing::Test {
 protected:
  BudgetedLookUpTest() {
    dns_servers = "127.0.0.1";
    DoNotLog();
  }

  // Returns the record of example.org that is found in the answer; the look-up is in m_lookUp.
  std::string Record(const Build& build) {
    const ScriptedNameServer server(Answer(build));
    const std::string record = BudgetedLookUp("example.org", m_budget).FindRecord();
    EXPECT_EQ(server.Questions(), (Texts{"TXT example.org"}));
    TakeLookUp(LookUp::Type::kTXT);
    return record;
  }

  Texts Addresses(const Build& build) {
    const ScriptedNameServer server(Answer(build));
    Texts addresses = BudgetedLookUp("example.org", m_budget).FindAddresses();
    EXPECT_EQ(server.Questions(), (Texts{"A example.org"}));
    TakeLookUp(LookUp::Type::kA);
    EXPECT_EQ(m_lookUp.addresses, addresses);
    return addresses;
  }

  static Reason ReasonOf(CheckBudget& budget) {
    try {
      BudgetedLookUp("example.org", budget).FindRecord();
    } catch (const BudgetException& e) {
      return e.GetReason();
    }
    throw std::logic_error("the budget allows it");
  }

  RecordingObserver m_observer;
  CheckBudget m_budget{1000, Clock::now() + std::chrono::minutes(1), m_observer};
  LookUp m_lookUp;

 private:
  void TakeLookUp(LookUp::Type type) {
    ASSERT_FALSE(m_observer.LookUps().empty());
    m_lookUp = m_observer.LookUps().back();
    EXPECT_EQ(m_lookUp.domain, "example.org");
    EXPECT_EQ(m_lookUp.type, type);
  }
};

}  // namespace

TEST_F(BudgetedLookUpTest, ItOverridesOnlyTheCreationOfSocketsAndTheReceiving) {
  const DNSSocket base("example.org");
  const BudgetedLookUp lookUp("example.org", m_budget);
  EXPECT_EQ(DifferentSlots(VirtualOperations(base, 10), VirtualOperations(lookUp, 10)),
            (std::set<std::size_t>{0, 1, 4, 6}));
}

TEST_F(BudgetedLookUpTest, ARecordIsFoundAsItIsPublished) {
  EXPECT_EQ(Record([](ReplyBuilder& reply) { reply.TXT({"text"}).TXT({kRecord}); }), kRecord);
  EXPECT_EQ(m_lookUp.outcome, Outcome::kAnswered);
  EXPECT_EQ(m_lookUp.policies, (Texts{kRecord}));
}

TEST_F(BudgetedLookUpTest, AddressesAreFoundInTheirOrder) {
  EXPECT_EQ(Addresses([](ReplyBuilder& reply) { reply.A("192.0.2.9").A("192.0.2.1"); }),
            (Texts{"192.0.2.9", "192.0.2.1"}));
  EXPECT_EQ(m_lookUp.outcome, Outcome::kAnswered);
}

TEST_F(BudgetedLookUpTest, TheOutcomeIsThatOfTheReply) {
  const struct {
    Build build;
    Outcome outcome;
    std::uint16_t errorCode;
    std::string record;
  } rows[] = {
      {[](ReplyBuilder& reply) { reply.TXT({"text"}); }, Outcome::kAnswered, 0, ""},
      {[](ReplyBuilder& reply) { reply.SetFlags(0x8183); }, Outcome::kAnswered, 3, ""},
      {[](ReplyBuilder& reply) { reply.SetFlags(0x8182); }, Outcome::kErrorCode, 2, ""},
      {[](ReplyBuilder& reply) { reply.SetFlags(0x8380).TXT({kRecord}); }, Outcome::kTruncated, 0,
       kRecord},
      {[](ReplyBuilder& reply) { reply.CNAME("d.test").TXT({kRecord}); }, Outcome::kAlias, 0, ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Record(row.build), row.record);
    EXPECT_EQ(m_lookUp.outcome, row.outcome) << row.errorCode << " " << row.record;
    EXPECT_EQ(m_lookUp.errorCode, row.errorCode);
  }
  EXPECT_EQ(Addresses([](ReplyBuilder& reply) { reply.SetFlags(0x8185).A("192.0.2.1"); }),
            (Texts{"192.0.2.1"}));
  EXPECT_EQ(m_lookUp.outcome, Outcome::kErrorCode);
  EXPECT_EQ(m_lookUp.errorCode, 5);
  Addresses([](ReplyBuilder& reply) { reply.CNAME("d.test").A("192.0.2.1"); });
  EXPECT_EQ(m_lookUp.outcome, Outcome::kAlias);
}

TEST_F(BudgetedLookUpTest, AReplyOf1024BytesCountsAsTruncated) {
  const std::string filler(200, 'x');
  EXPECT_EQ(Record([&](ReplyBuilder& reply) {
              reply.TXT({kRecord});
              while (reply.Build().size() < 1024) {
                reply.TXT({filler});
              }
            }),
            kRecord);
  EXPECT_EQ(m_lookUp.outcome, Outcome::kTruncated);
}

TEST_F(BudgetedLookUpTest, AReplyToAnotherQuestionIsReadButIsNotAnAnswer) {
  const ScriptedNameServer server([](const Bytes& query) {
    Bytes other = query;
    other[13] = 'E';
    other[14] = 'y';
    return Datagrams{ReplyBuilder(other).TXT({kRecord}).Build()};
  });
  EXPECT_EQ(BudgetedLookUp("example.org", m_budget).FindRecord(), kRecord);
  EXPECT_EQ(m_observer.LookUps().back().outcome, Outcome::kNoAnswer);
  EXPECT_EQ(m_observer.LookUps().back().policies, Texts{});
}

TEST_F(BudgetedLookUpTest, ARecordThatIsReadDifferentlyThanPublishedIsMisread) {
  const struct {
    Texts strings;  // of one TXT record
    std::string read;
    Outcome outcome;
  } rows[] = {
      {{"v=spf1 ip4:192.0.2.1", " -all"}, "v=spf1 ip4:192.0.2.1 -all", Outcome::kAnswered},
      {{"v=spf1 ip4:192.0.2.1", std::string(33, ' ') + "-all"},
       "v=spf1 ip4:192.0.2.1%" + std::string(33, ' ') + "-all",
       Outcome::kMisread},
      {{"V=SPF1 -all"}, "", Outcome::kMisread},
      {{"v=spf1 -all\x01"}, "v=spf1 -all", Outcome::kMisread},
      {{"v=spf1 a\0 -all"s}, "v=spf1 a", Outcome::kMisread},
      {{"text v=spf1 -all"}, "text v=spf1 -all", Outcome::kMisread},
      {{"v=spf10 -all"}, "v=spf10 -all", Outcome::kMisread},
      {{"spf2.0/pra -all"}, "", Outcome::kAnswered},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Record([&](ReplyBuilder& reply) { reply.TXT(row.strings); }), row.read);
    EXPECT_EQ(m_lookUp.outcome, row.outcome) << row.read;
  }
}

TEST_F(BudgetedLookUpTest, EachOfSeveralRecordsIsKept) {
  EXPECT_EQ(Record([](ReplyBuilder& reply) { reply.TXT({"v=spf1 a"}).TXT({kRecord}); }), kRecord);
  EXPECT_EQ(m_lookUp.outcome, Outcome::kAnswered);
  EXPECT_EQ(m_lookUp.policies, (Texts{"v=spf1 a", kRecord}));
}

TEST_F(BudgetedLookUpTest, AddressesThatAreReadDifferentlyThanPublishedAreMisread) {
  EXPECT_EQ(Addresses([](ReplyBuilder& reply) {
              reply.Record(1, {192, 0, 2});
            }),
            (Texts{"192.0.2.0"}));
  EXPECT_EQ(m_lookUp.outcome, Outcome::kMisread);
}

TEST_F(BudgetedLookUpTest, ANameTooLongForAQueryHasNoAnswer) {
  const ScriptedNameServer server(Answer([](ReplyBuilder&) {}));
  EXPECT_EQ(BudgetedLookUp(std::string(2000, 'x'), m_budget).FindRecord(), "");
  EXPECT_EQ(m_observer.LookUps().back().outcome, Outcome::kNoAnswer);
  EXPECT_EQ(server.Queries().size(), 0U);
}

TEST_F(BudgetedLookUpTest, ALookUpBeyondTheBudgetIsNotMade) {
  const ScriptedNameServer server(Answer([](ReplyBuilder&) {}));
  CheckBudget none(0, Clock::now() + std::chrono::minutes(1), m_observer);
  EXPECT_EQ(ReasonOf(none), Reason::kLookUps);
  CheckBudget late(20, Clock::now(), m_observer);
  EXPECT_EQ(ReasonOf(late), Reason::kTime);
  EXPECT_EQ(server.Queries().size(), 0U);
  EXPECT_EQ(m_observer.Steps(), Texts{});
}

TEST_F(BudgetedLookUpTest, TheDeadlineEndsAWait) {
  const ScriptedNameServer server(Silence);
  const auto start = Clock::now();
  CheckBudget budget(20, start + milliseconds(200), m_observer);
  EXPECT_EQ(ReasonOf(budget), Reason::kTime);
  EXPECT_GE(Clock::now(), start + milliseconds(200));
  EXPECT_LT(Clock::now(), start + milliseconds(2000));
  ASSERT_EQ(m_observer.LookUps().size(), 1U);
  EXPECT_EQ(m_observer.LookUps()[0].outcome, Outcome::kNoAnswer);
}

TEST_F(BudgetedLookUpTest, WithoutAnAnswerItEndsAfter5SecondsLikeAnyLookUp) {
  const ScriptedNameServer server(Silence);
  const auto start = Clock::now();
  EXPECT_EQ(BudgetedLookUp("example.org", m_budget).FindRecord(), "");
  EXPECT_GE(Clock::now(), start + milliseconds(5000));
  EXPECT_EQ(m_observer.LookUps().at(0).outcome, Outcome::kNoAnswer);
}

TEST_F(BudgetedLookUpTest, AHangUpEndsAWait) {
  const ScriptedNameServer server(Silence);
  StreamPair client;
  m_budget.EndWithHangUpOf(client.One());
  std::jthread hangUp([&] {
    std::this_thread::sleep_for(milliseconds(100));
    client.CloseOther();
  });
  const auto start = Clock::now();
  EXPECT_EQ(ReasonOf(m_budget), Reason::kHangUp);
  EXPECT_LT(Clock::now(), start + milliseconds(2000));
}

TEST_F(BudgetedLookUpTest, ATimeoutIsLoggedInOneShortLine) {
  const ScriptedNameServer server(Silence);
  CheckBudget budget(20, Clock::now() + milliseconds(50), m_observer);
  EXPECT_EQ(CaptureLog([&] { EXPECT_EQ(ReasonOf(budget), Reason::kTime); }),
            "Debug: DNSSocket::DoQuery - UDPSocketTimeoutException - "
            "BudgetedLookUp::Receive - no answer\n");
}

TEST_F(BudgetedLookUpTest, ATimeoutNeedsNoLargeStack) {
  const ScriptedNameServer server(Silence);
  CheckBudget budget(20, Clock::now() + milliseconds(50), m_observer);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{256} << 10), 0);
  const auto lookUp = [](void* argument) -> void* {
    EXPECT_EQ(ReasonOf(*static_cast<CheckBudget*>(argument)), Reason::kTime);
    return nullptr;
  };
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, &attributes, lookUp, &budget), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

namespace {

// Sets how many descriptors the process may have, as long as the object lives.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t limit) {
    getrlimit(RLIMIT_NOFILE, &m_before);
    rlimit wanted = m_before;
    wanted.rlim_cur = limit;
    m_isSet = setrlimit(RLIMIT_NOFILE, &wanted) == 0;
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_before); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

  bool IsSet() const { return m_isSet; }

 private:
  rlimit m_before{};
  bool m_isSet = false;
};

// Holds all free descriptors below `limit`, as long as it lives.
class TakenDescriptors {
 public:
  explicit TakenDescriptors(int limit) {
    int descriptor = open("/dev/null", O_RDONLY);
    while (descriptor >= 0 && descriptor < limit) {
      m_descriptors.push_back(descriptor);
      descriptor = dup(descriptor);
    }
    if (descriptor >= 0) {
      close(descriptor);
    }
  }
  ~TakenDescriptors() {
    for (const int descriptor : m_descriptors) {
      close(descriptor);
    }
  }
  TakenDescriptors(const TakenDescriptors&) = delete;
  TakenDescriptors& operator=(const TakenDescriptors&) = delete;

 private:
  std::vector<int> m_descriptors;
};

}  // namespace

TEST_F(BudgetedLookUpTest, ADescriptorAbove1023IsRefusedAndClosed) {
  const ScriptedNameServer server(Answer([](ReplyBuilder&) {}));
  const DescriptorLimit limit(1100);
  if (!limit.IsSet()) {
    GTEST_SKIP() << "this machine forbids a process so many descriptors";
  }
  const TakenDescriptors taken(1024);
  const std::ptrdiff_t before = OpenDescriptors();
  EXPECT_EQ(
      FailureText<SocketException>([&] { BudgetedLookUp("example.org", m_budget).FindRecord(); }),
      "BudgetedLookUp::CreateSocket - socket handle exceeds FD_SETSIZE :: failed with "
      "code 24: Too many open files");
  EXPECT_EQ(OpenDescriptors(), before);
  EXPECT_EQ(server.Queries().size(), 0U);
  EXPECT_EQ(m_observer.Steps(), Texts{});
}

TEST_F(BudgetedLookUpTest, Descriptor1023IsUsed) {
  const ScriptedNameServer server(Answer([](ReplyBuilder& reply) { reply.TXT({kRecord}); }));
  const DescriptorLimit limit(1100);
  if (!limit.IsSet()) {
    GTEST_SKIP() << "this machine forbids a process so many descriptors";
  }
  const TakenDescriptors taken(1023);
  EXPECT_EQ(BudgetedLookUp("example.org", m_budget).FindRecord(), kRecord);
}

TEST_F(BudgetedLookUpTest, WithoutAFreeDescriptorItThrows) {
  const ScriptedNameServer server(Answer([](ReplyBuilder&) {}));
  const DescriptorLimit limit(100);
  const TakenDescriptors taken(100);
  EXPECT_THROW(BudgetedLookUp("example.org", m_budget).FindRecord(), SocketException);
}

TEST_F(BudgetedLookUpTest, NoOutcomeLeaksADescriptor) {
  const std::ptrdiff_t before = OpenDescriptors();
  Record([](ReplyBuilder& reply) { reply.TXT({kRecord}); });
  Addresses([](ReplyBuilder& reply) { reply.SetFlags(0x8182); });
  CheckBudget late(20, Clock::now() + milliseconds(20), m_observer);
  {
    const ScriptedNameServer server(Silence);
    EXPECT_EQ(ReasonOf(late), Reason::kTime);
    EXPECT_EQ(ReasonOf(late), Reason::kTime);
  }
  dns_servers = "0.0.0.0";
  EXPECT_THROW(BudgetedLookUp("example.org", m_budget).FindRecord(), UDPSocketException);
  EXPECT_EQ(OpenDescriptors(), before);
}
