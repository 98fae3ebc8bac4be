#include "tests/spf_bulk/RandomPolicies.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/property/Random.h"
#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

constexpr int kToolsAtOnce = 8;
constexpr std::uint32_t kNames = 5000;

// Random numbers for a name, which are the same for each question about it.
class Dice {
 public:
  explicit Dice(const std::string& name) : m_engine(std::hash<std::string>()(name)) {}

  std::uint32_t Roll(std::uint32_t sides) { return static_cast<std::uint32_t>(m_engine() % sides); }

  bool OneIn(std::uint32_t sides) { return Roll(sides) == 0; }

 private:
  std::mt19937_64 m_engine;
};

std::string NameFor(std::uint32_t number) {
  std::string name = "d";
  return name.append(std::to_string(number)).append(".test");
}

std::string AnyAddress(Dice& dice) {
  return "192.0.2." + std::to_string(dice.Roll(16));
}

std::string AnyTerm(Dice& dice, std::uint32_t number) {
  static const std::vector<std::string> kTerms = {"-all",    "~all",
                                                  "?all",    "+all",
                                                  "all",     "mx",
                                                  "ptr",     "exists:%{i}.test",
                                                  "ip4",     "a/2x",
                                                  "include", "redirect",
                                                  "exp=x",   "include:",
                                                  "ip6:::1", "A",
                                                  "",        "a/0",
                                                  "ip4:x",   "redirect=",
                                                  "a/33",    "ip4:0.0.0.0/0",
                                                  "a:",      "mx:x/24"};
  // Most names refer to higher ones; circles end by their depth.
  const std::string target = NameFor((number + 1 + dice.Roll(50)) % kNames);
  switch (dice.Roll(9)) {
    case 0:
      return "a";
    case 1:
      return "a:" + target + (dice.OneIn(2) ? "" : "/" + std::to_string(dice.Roll(34)));
    case 2:
      return (dice.OneIn(4) ? "+ip4:" : "ip4:") + AnyAddress(dice);
    case 3:
      return "ip4:" + AnyAddress(dice) + "/" + std::to_string(dice.Roll(34));
    case 4:
      return dice.OneIn(3) ? "include:" + target : "?ip4:" + AnyAddress(dice);
    case 5:
      return dice.OneIn(3) ? "redirect=" + target : "-all";
    default:
      return kTerms[dice.Roll(static_cast<std::uint32_t>(kTerms.size()))];
  }
}

std::string AnyRecord(Dice& dice, std::uint32_t number) {
  std::string record = dice.OneIn(20) ? "v=spf2" : "v=spf1";
  const std::uint32_t terms = dice.Roll(6);
  for (std::uint32_t i = 0; i < terms; ++i) {
    record += (dice.OneIn(20) ? "  " : " ") + AnyTerm(dice, number);
  }
  return record;
}

// Returns `reply` with a random fault.
Bytes Break(Bytes reply, Dice& dice) {
  switch (dice.Roll(5)) {
    case 0:
      reply.resize(dice.Roll(static_cast<std::uint32_t>(reply.size())) + 1);
      break;
    case 1:
      reply[dice.Roll(static_cast<std::uint32_t>(reply.size()))] ^=
          static_cast<unsigned char>(1 + dice.Roll(255));
      break;
    case 2:
      reply.push_back(static_cast<unsigned char>(dice.Roll(256)));
      break;
    case 3:
      reply[7] = static_cast<unsigned char>(dice.Roll(256));  // the number of answers
      break;
    default:
      reply[2] = static_cast<unsigned char>(dice.Roll(256));  // flags
      reply[3] = static_cast<unsigned char>(dice.Roll(256));
      break;
  }
  return reply;
}

Datagrams Answer(const Bytes& query) {
  const std::string name = NameOf(query);
  const bool isText = query[query.size() - 11] == 16;  // TYPE, CLASS and eight bytes at the end
  Dice dice(name + (isText ? " TXT" : " A"));
  if (name.starts_with("silent")) {
    return {};
  }
  ReplyBuilder reply(query);
  const std::uint32_t answers = dice.OneIn(4) ? dice.Roll(4) : 1;
  for (std::uint32_t i = 0; i < answers; ++i) {
    if (dice.OneIn(20)) {
      reply.CNAME(NameFor(dice.Roll(kNames)));
    } else if (!isText) {
      reply.A(AnyAddress(dice));
    } else if (dice.OneIn(5)) {
      reply.TXT({"contact=hostmaster"});
    } else {
      reply.TXT({AnyRecord(dice, static_cast<std::uint32_t>(std::stoul("0" + name.substr(1))))});
    }
  }
  return {dice.OneIn(6) ? Break(reply.Build(), dice) : reply.Build()};
}

struct Sender {
  std::string domain;
  std::string address;
  std::string sender;
};

Sender AnySender(Random& random, bool isSilent) {
  Sender sender;
  const std::string name =
      isSilent ? "silent.test" : NameFor(random.Between(std::uint32_t{0}, kNames - 1));
  sender.address = "192.0.2." + std::to_string(random.Between(0, 15));
  switch (random.Between(0, 5)) {
    case 0:
      sender.domain = "other.test";
      sender.sender = "user@" + name;
      break;
    case 1:
      sender.sender = "<" + random.Text("abc$'\\{};", 5) + "@" + name + ">";
      break;
    case 2:
      sender.domain = std::string(63, 'a') + "." + std::string(63, 'b') + "." +
                      std::string(63, 'c') + "." + std::string(63, 'd') + "." + name;
      break;
    case 3:
      sender.domain = name;
      sender.sender = "postmaster";
      break;
    default:
      sender.domain = name;
      break;
  }
  return sender;
}

// Returns the verdict of spfcheck as spf-bulk names it.
std::string AskTool(const Sender& sender) {
  const TemporaryDirectory directory;
  const ChildResult result =
      RunChild(SPFCHECK_PROGRAM, {"spfcheck", sender.domain, sender.address, sender.sender},
               directory.Path());
  for (const char* verdict : {"passed", "failed"}) {
    if (result.exitStatus == 0 &&
        result.standardOutput.ends_with(std::string("\nSPFCheck::") + verdict + " \n")) {
      return verdict;
    }
  }
  return "error";
}

std::string AskToolForAll(const std::vector<Sender>& senders) {
  std::vector<std::string> verdicts(senders.size());
  std::atomic<std::size_t> next{0};
  std::vector<std::thread> threads;
  for (int i = 0; i < kToolsAtOnce; ++i) {
    threads.emplace_back([&] {
      for (std::size_t at = 0; (at = next++) < senders.size();) {
        verdicts[at] = AskTool(senders[at]);
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  std::string lines;
  for (std::size_t i = 0; i < senders.size(); ++i) {
    lines += senders[i].domain + "," + senders[i].address + "," + senders[i].sender + "," +
             verdicts[i] + "\n";
  }
  return lines;
}

// Expects the same lines; prints the first ones that differ.
void ExpectSameLines(const std::string& found, const std::string& wanted) {
  std::istringstream foundLines(found);
  std::istringstream wantedLines(wanted);
  std::string one;
  std::string other;
  int differences = 0;
  while (std::getline(wantedLines, other) && differences < 10) {
    std::getline(foundLines, one);
    EXPECT_EQ(one, other);
    differences += one == other ? 0 : 1;
  }
  EXPECT_EQ(found.size(), wanted.size());
}

}  // namespace

void CompareWithTool(int lines, int silent) {
  const ScriptedNameServer server(Answer);
  SetResolverFile("nameserver 127.0.0.1\n");
  Random random;
  std::vector<Sender> senders;
  const BulkDirectory directory;
  std::string input;
  for (int i = 0; i < lines; ++i) {
    const bool isSilent = silent > 0 && i % (lines / silent) == 0;
    senders.push_back(AnySender(random, isSilent));
    const Sender& sender = senders.back();
    input += sender.domain + "," + sender.address + "," + sender.sender + "\n";
  }
  directory.Write("in.csv", input);
  const ChildResult result = directory.Run({"--output", "out.csv", "in.csv"});
  ExpectSameLines(directory.Read("out.csv"), AskToolForAll(senders));
  std::fputs(result.standardError.c_str(), stdout);
}
