// Evaluates an SPF record, with the plain check and with the one that has limits and a reason. The
// lines of the input are the record, the envelope sender and, for each query in turn, the values
// that the name server has: addresses or texts, separated by "|".

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/Budget.h"
#include "fuzz/Rules.h"
#include "fuzz/ScriptedNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tool/SPFCheck.h"
#include "tool/SenderCheck.h"

namespace {

constexpr Budget::Limits kLimits{
    .microseconds = 100000, .microsecondsPerByte = 400, .bytes = 65536, .bytesPerByte = 12288};
constexpr std::size_t kHeader = 12;
constexpr std::size_t kTail = 12;  // type, class and eight zero bytes
constexpr std::size_t kMaxQuery = 1024;
constexpr std::size_t kLongestReason = 300;

// Removes the text before the first separator, and the separator, and returns the former.
std::string TakeUpTo(char separator, std::string& text) {
  const std::size_t end = std::min(text.find(separator), text.size());
  std::string taken = text.substr(0, end);
  text.erase(0, end + 1);
  return taken;
}

enum class Outcome { kPassed, kFailed, kValueMissing, kPrefixNoNumber, kNone };

// The outcome of a check, and its queries.
struct Run {
  Outcome outcome = Outcome::kFailed;
  std::vector<Bytes> queries;

  bool operator==(const Run&) const = default;
};

// Returns the type that a query asks for, which must be one of the tool's.
unsigned char TypeOf(const Bytes& query) {
  Require(query.size() > kHeader + kTail && query.size() <= kMaxQuery, "a query fits its buffer");
  const std::size_t type = query.size() - kTail;
  Require(query[type] == 0 && (query[type + 1] == 1 || query[type + 1] == 16),
          "only addresses and texts are asked for");
  return query[type + 1];
}

Bytes Answer(const Bytes& query, std::string values) {
  ReplyBuilder reply(query);
  const bool addresses = TypeOf(query) == 1;
  while (!values.empty()) {
    const std::string value = TakeUpTo('|', values);
    addresses ? reply.A(value) : reply.TXT({value});
  }
  return reply.Build();
}

Outcome Check(const std::string& sender, const std::string& record) {
  try {
    const SPFCheck check("192.0.2.1", sender, "example.org", 0, record);
    return check.getResult() ? Outcome::kPassed : Outcome::kFailed;
  } catch (const std::out_of_range&) {
    return Outcome::kValueMissing;
  } catch (const std::invalid_argument&) {
    return Outcome::kPrefixNoNumber;
  }
}

// Does the same as Check() with a SenderCheck.
Outcome CheckWithReason(const std::string& record) {
  const SenderCheck check("192.0.2.1", "example.org",
                          record.empty() ? std::nullopt : std::optional(record),
                          {.lookUps = std::numeric_limits<std::uint32_t>::max(),
                           .deadline = std::chrono::steady_clock::time_point::max(),
                           .hangUp = -1},
                          nullptr);
  const bool passes = check.GetToolVerdict() == SenderCheck::ToolVerdict::kPassed;
  const bool fails = check.GetToolVerdict() == SenderCheck::ToolVerdict::kFailed;
  switch (check.GetVerdict()) {
    case SenderCheck::Verdict::kPassed:
      Require(passes, "a check that passes would pass in the tool");
      break;
    case SenderCheck::Verdict::kFailed:
    case SenderCheck::Verdict::kNone:
      Require(fails, "a check that fails would fail in the tool");
      break;
    default:
      break;
  }
  const std::string& reason = check.GetReason();
  Require(!reason.empty() && reason.size() <= kLongestReason &&
              std::ranges::all_of(reason, [](char c) { return c >= ' ' && c <= '~'; }),
          "a reason is short and printable");
  return passes ? Outcome::kPassed : fails ? Outcome::kFailed : Outcome::kNone;
}

template <typename Evaluate>
Run RunCheck(std::string answers, const Evaluate& evaluate) {
  Run run;
  const ScriptedNetwork network([&](const Bytes& query) {
    run.queries.push_back(query);
    return Answer(query, TakeUpTo('\n', answers));
  });
  run.outcome = evaluate();
  return run;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  std::string answers(data, data + size);
  const std::string record = TakeUpTo('\n', answers);
  const std::string sender = TakeUpTo('\n', answers);

  const Run run = RunCheck(answers, [&] { return Check(sender, record); });
  Require(run.queries.size() <= size + 1, "each query comes from another term");
  if (!record.empty()) {
    Require(RunCheck(answers, [&] { return Check(sender, record + " -all"); }) == run,
            "-all after a record changes nothing");
  }
  if (sender.empty()) {
    const Run other = RunCheck(answers, [&] { return CheckWithReason(record); });
    Require(other.queries == run.queries, "a check with limits asks the same");
    Require(other.outcome == run.outcome ||
                (other.outcome == Outcome::kNone && run.outcome > Outcome::kFailed),
            "a check with limits has the same outcome");
  }
  return 0;
}
