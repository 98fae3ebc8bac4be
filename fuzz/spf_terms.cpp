// The walk through an SPF record. Lines of the input are the record, the envelope sender and, for
// each query in turn, the values that the name server has: addresses or texts, parted by "|".

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/Budget.h"
#include "fuzz/Rules.h"
#include "fuzz/ScriptedNetwork.h"
#include "tests/support/ReplyBuilder.h"
#include "tool/SPFCheck.h"

namespace {

constexpr Budget::Limits kLimits{
    .microseconds = 100000, .microsecondsPerByte = 400, .bytes = 65536, .bytesPerByte = 12288};
constexpr std::size_t kHeader = 12;
constexpr std::size_t kTail = 12;  // type, class and eight zero bytes
constexpr std::size_t kMaxQuery = 1024;

// What comes in front of the first separator; it is taken off text, and the separator with it.
std::string TakeUpTo(char separator, std::string& text) {
  const std::size_t end = std::min(text.find(separator), text.size());
  std::string taken = text.substr(0, end);
  text.erase(0, end + 1);
  return taken;
}

enum class Outcome { kPassed, kFailed, kValueMissing, kPrefixNoNumber };

// A check, and all that it asked.
struct Run {
  Outcome outcome = Outcome::kFailed;
  std::vector<Bytes> queries;

  bool operator==(const Run&) const = default;
};

// The type that a query asks for; it must be one that the tool asks for.
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

Run RunCheck(const std::string& sender, const std::string& record, std::string answers) {
  Run run;
  const ScriptedNetwork network([&](const Bytes& query) {
    run.queries.push_back(query);
    return Answer(query, TakeUpTo('\n', answers));
  });
  run.outcome = Check(sender, record);
  return run;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  std::string answers(data, data + size);
  const std::string record = TakeUpTo('\n', answers);
  const std::string sender = TakeUpTo('\n', answers);

  const Run run = RunCheck(sender, record, answers);
  Require(run.queries.size() <= size + 1, "each query is asked for by a term of its own");
  if (!record.empty()) {
    Require(RunCheck(sender, record + " -all", answers) == run,
            "-all behind a record adds nothing");
  }
  return 0;
}
