// LookUp is one question to the name server and what came of it.
//
// A value type: each thread uses objects of its own.

#pragma once

#include <cstdint>
#include <string>
#include <vector>

struct LookUp {
  // The type of the records that were asked for.
  enum class Type { kA, kTXT };

  // What came of it.
  enum class Outcome {
    kAnswered,   // in full; that the domain does not exist is an answer, too
    kErrorCode,  // the reply has an error code, which is in `errorCode`
    kTruncated,  // the reply says that it is cut, fills the whole buffer, or ends early
    kAlias,      // the reply has an alias (CNAME or DNAME), which is not followed
    kMisread,    // the reply says something other than what the check took from it
    kNoAnswer,   // nothing came, or no reply to this question, or a referral to other servers
  };

  std::string domain;                    // the name that was asked about
  Type type = Type::kA;                  // what was asked for
  Outcome outcome = Outcome::kNoAnswer;  // what came of it
  std::uint8_t errorCode = 0;            // RCODE of RFC 1035, section 4.1.1
  std::vector<std::string> addresses;    // of type A: dotted quads as the check took them
  std::vector<std::string> policies;     // of type TXT: the published texts that are SPF records
};
