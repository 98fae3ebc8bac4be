#include "tests/spf_bulk/ToolComparison.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdio>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "tests/property/Random.h"
#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/RandomPolicies.h"

namespace {

constexpr int kToolsAtOnce = 8;

struct Sender {
  std::string domain;
  std::string address;
  std::string sender;
};

Sender AnySender(Random& random, bool isSilent) {
  Sender sender;
  const std::string name =
      isSilent ? "silent.test" : NameOfPolicy(random.Between(std::uint32_t{0}, kPolicies - 1));
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
  const ScriptedNameServer server(AnswerAtRandom);
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
