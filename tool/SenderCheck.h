// SenderCheck is what programs for mail use in place of SPFCheck: it checks its arguments, keeps
// to limits, and tells apart that a host may not send mail for a domain and that nobody can say.
//
//   passed      A term matched, and no term with "-", "~" or "?" that was passed over before it
//               could have matched first.
//   failed      No term matched, every look-up was answered in full, and no term that was passed
//               over could have matched or softened the result.
//   none        The name server answered that the domain has no record.
//   no verdict  Everything else. The reason says why.
//
// A term is passed over when SPFCheck does not look at what it says: `mx`, `ptr`, `exists`, a
// macro, a qualifier, capital letters. What such a term with an address says is compared with the
// client all the same, so `?ip4:192.0.2.1` is in nobody's way but 192.0.2.1's; so is a range as
// RFC 7208 means it, with its host bits masked. "~all" and "?all" fail as "-all" does. That a name
// does not exist is an answer. A record of which a reply has two is malformed. One that SPFCheck
// reads otherwise than it is published, such as one in several strings, passes only by a term
// before the first difference.
//
// One thread at a time. The constructor blocks while it asks, at most until the deadline; it throws
// nothing but std::bad_alloc, and writes no log itself (SPFCheck does, through fwk::Logger).

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "framework/core/Export.h"
#include "tool/CheckObserver.h"
#include "tool/SPFCheck.h"  // for what must exist before every static SenderCheck

class VerdictTally;

class FWK_EXPORT SenderCheck {
 public:
  // The four verdicts.
  enum class Verdict { kPassed, kFailed, kNone, kNoVerdict };

  // The verdict that spfcheck would print; kNone where the check was not made, was ended by an
  // exception, as spfcheck is then, or by a limit.
  enum class ToolVerdict { kPassed, kFailed, kNone };

  // What a check may cost.
  struct Limits {
    std::uint32_t lookUps = 0;                       // DNS questions
    std::chrono::steady_clock::time_point deadline;  // the check ends at most 0.1 s later
    int hangUp = -1;  // a stream socket whose peer ends the check by closing its end; -1: none
  };

  // A domain that is asked for as it is written, as spfcheck does: also one that ends in a dot, or
  // is longer than DNS allows.
  struct AsWritten {
    std::string domain;  // the name, without any change
  };

  // Checks whether the host with `address`, a dotted quad, may send mail for the domain of
  // `sender` (see DomainOf). `record` is evaluated in place of the published one. `observer`, if it
  // is not null, is told of each step; it must not throw.
  SenderCheck(const std::string& address, const std::string& sender,
              const std::optional<std::string>& record, const Limits& limits,
              CheckObserver* observer);

  // Checks the same for `written`, by its published record.
  SenderCheck(const std::string& address, const AsWritten& written, const Limits& limits);

  // Returns the verdict.
  Verdict GetVerdict() const { return m_verdict; }

  // Returns the verdict that spfcheck would print.
  ToolVerdict GetToolVerdict() const { return m_toolVerdict; }

  // Returns why, in printable ASCII on one line of at most some 300 characters.
  const std::string& GetReason() const { return m_reason; }

  // Returns the first look-up that had no answer, an error code or a truncated answer, in words;
  // empty when each was answered in full. The same check may then end otherwise later.
  const std::string& GetMissing() const { return m_missing; }

  // Returns whether a limit ended the check.
  bool HasHitLimit() const { return m_hasHitLimit; }

  // Returns the domain that was checked; empty for a malformed sender.
  const std::string& GetDomain() const { return m_domain; }

  // Returns how many questions were asked.
  std::uint32_t GetLookUps() const { return m_lookUps; }

  // Returns the domain of an envelope sender, which is what follows its last "@", or the sender
  // itself without one; angle brackets and one trailing dot are removed. Empty unless it is a host
  // name: labels of 1 to 63 letters, digits, "-" and "_", at most 253 characters in all.
  static std::string DomainOf(const std::string& sender);

  // Returns whether `text` is an IPv4 address of four decimal numbers.
  static bool IsAddress(const std::string& text);

  // Returns "passed", "failed", "none" or "no verdict".
  static const char* NameOf(Verdict verdict);

 private:
  void Evaluate(const std::string& address, const std::string& record, const Limits& limits,
                CheckObserver* observer);
  void Judge(const VerdictTally& tally);
  void SetNoVerdict(const std::string& reason);

  Verdict m_verdict = Verdict::kNoVerdict;
  ToolVerdict m_toolVerdict = ToolVerdict::kNone;
  std::string m_reason;
  std::string m_missing;
  std::string m_domain;
  std::uint32_t m_lookUps = 0;
  bool m_hasHitLimit = false;
};
