// Reads the facts of the input as the reply to a question for addresses.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "framework/dns/MessageCodec.h"
#include "fuzz/Budget.h"
#include "fuzz/Rules.h"
#include "tool/ReplyFacts.h"

namespace {

using Outcome = LookUp::Outcome;

constexpr Budget::Limits kLimits{
    .microseconds = 100000, .microsecondsPerByte = 100, .bytes = 16384, .bytesPerByte = 256};
constexpr std::size_t kSmallestRecord = 11;
constexpr std::size_t kLongestAddress = 15;

ReplyFacts Read(std::span<const std::uint8_t> bytes) {
  const std::vector<unsigned char> reply(bytes.begin(), bytes.end());  // with nothing after them
  static const std::vector<unsigned char> query =
      MessageCodec::EncodeQuery("example.org", MessageCodec::kTypeA, 0);
  return ReadReplyFacts(reply, query, MessageCodec::kMaxMessage);
}

void CheckRecords(const ReplyFacts& facts, std::size_t size) {
  Require(facts.addresses.size() + facts.texts.size() <= size / kSmallestRecord,
          "there are no more records than fit the reply");
  std::size_t length = 0;
  for (const std::string& text : facts.texts) {
    length += text.size();
  }
  Require(length <= size, "texts are not longer than the reply");
  for (const std::string& address : facts.addresses) {
    Require(address.size() <= kLongestAddress && std::ranges::count(address, '.') == 3,
            "addresses are dotted quads");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  const std::span<const std::uint8_t> reply(data, std::min(size, MessageCodec::kMaxMessage));
  const ReplyFacts facts = Read(reply);
  CheckRecords(facts, reply.size());
  Require(facts.outcome != Outcome::kMisread, "only the look-up knows about misreading");
  if (facts.outcome == Outcome::kNoAnswer || facts.outcome == Outcome::kErrorCode) {
    Require(facts.addresses.empty() && facts.texts.empty(),
            "without an answer there are no records");
  }
  if (!reply.empty()) {
    const ReplyFacts cut = Read(reply.first(reply.size() - 1));
    Require(
        cut.addresses.size() <= facts.addresses.size() && cut.texts.size() <= facts.texts.size(),
        "a reply that is cut has no more records than the whole one");
  }
  return 0;
}
