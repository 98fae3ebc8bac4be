// LookUp is one question to the name server, and its outcome. A value type.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct LookUp {
  // The type of the records that were asked for.
  enum class Type { kA, kTXT };

  // What became of the question.
  enum class Outcome {
    kAnswered,   // it was answered in full, perhaps by saying that the domain does not exist
    kErrorCode,  // the reply has an error code, see `errorCode`
    kTruncated,  // the reply is marked as truncated, fills the whole buffer, or ends early
    kAlias,      // the reply has an alias (CNAME or DNAME), which is not followed
    kMisread,    // the check has read something else than the reply says
    kNoAnswer,   // there was no reply to this question, or only a referral to other servers
  };

  std::string domain;                    // the name that was asked for
  Type type = Type::kA;                  // the type that was asked for
  Outcome outcome = Outcome::kNoAnswer;  // what became of the question
  std::uint8_t errorCode = 0;            // the RCODE (RFC 1035, section 4.1.1)
  std::vector<std::string> addresses;    // for kA: the dotted quads that the check has read
  std::vector<std::string> policies;     // for kTXT: the published texts that are SPF records
};
