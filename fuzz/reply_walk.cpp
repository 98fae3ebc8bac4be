// Makes the look-ups of all three kinds, with the input as the reply to each.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "framework/dns/AnswerWalk.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/MessageCodec.h"
#include "fuzz/Budget.h"
#include "fuzz/Rules.h"
#include "fuzz/ScriptedNetwork.h"

namespace {

using Values = std::vector<std::string>;

constexpr Budget::Limits kLimits{
    .microseconds = 100000, .microsecondsPerByte = 500, .bytes = 65536, .bytesPerByte = 8192};
constexpr char kDomain[] = "example.org";
constexpr std::uint32_t kAnswerStart = 29;  // of a reply to a query for it

Values LookUp(DNSSocket& socket, int (DNSSocket::*ask)(Values&)) {
  Values values;
  (socket.*ask)(values);
  return values;
}

// Returns the number of values that the walk finds in exactly these bytes.
std::size_t CountValues(std::span<const unsigned char> reply) {
  AnswerWalk walk(reply, kAnswerStart);
  AnswerWalk::Answer answer;
  std::size_t records = 0;
  std::size_t values = 0;
  while (walk.Next(answer)) {
    ++records;
    values += answer.value.empty() ? 0 : 1;
    Require(answer.value.size() < MessageCodec::kMaxMessage, "a value is shorter than a reply");
  }
  Require(records <= reply.size() / 10, "each record takes ten bytes at least");
  return values;
}

void CheckPolicy(const std::string& policy, const Values& texts) {
  if (!policy.empty()) {
    Require(std::find(texts.begin(), texts.end(), policy) != texts.end() &&
                policy.find("v=spf") != std::string::npos,
            "the policy is a text with the mark of a policy");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Budget budget(kLimits, size);
  const Bytes reply(data, data + size);
  const ScriptedNetwork network([&](const Bytes&) { return reply; });

  DNSSocket socket(kDomain);
  const Values addresses = LookUp(socket, &DNSSocket::GetARecords);
  const Values hosts = LookUp(socket, &DNSSocket::GetNSRecords);
  const Values texts = LookUp(socket, &DNSSocket::GetTXTRecords);

  Require(addresses == hosts && hosts == texts, "the reply decides, not the question");
  Require(texts.size() == CountValues({data, std::min(size, MessageCodec::kMaxMessage)}),
          "only the bytes that were received count");
  Require(std::all_of(texts.begin(), texts.end(), IsClean), "values are clean");
  CheckPolicy(socket.GetSPFRecord(), texts);
  return 0;
}
