// SenderCheck is an SPFCheck for programs that handle mail: it checks its arguments, keeps to
// limits, and distinguishes a host that may not send mail for a domain from a question without an
// answer.
//
//   passed      A term matched, and no term with "-", "~" or "?" that was passed over before it
//               could have matched first.
//   failed      No term matched, every look-up was answered in full, and no term that was passed
//               over could have matched or softened the result.
//   none        The name server answered that the domain has no record.
//   no verdict  Everything else. The reason says why.
//
// A term is passed over if SPFCheck does not evaluate it: mx, ptr, exists, a term with a macro, a
// qualifier or capital letters. If it has an address, that is still compared with the client, so
// "?ip4:192.0.2.1" concerns only 192.0.2.1; so is a range with its host bits masked, as RFC 7208
// wants it. "~all" and "?all" fail like "-all". The reply that a name does not exist is an answer.
// A domain with two records is malformed. A record that SPFCheck reads differently from what is
// published, such as one in several strings, passes only by a term before the first difference.
//
// One thread at a time may use an object. The constructor blocks during look-ups, at most until the
// deadline. It throws only std::bad_alloc and logs nothing itself (SPFCheck does, by fwk::Logger).

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "framework/core/Export.h"
#include "tool/CheckObserver.h"
#include "tool/SPFCheck.h"  // its statics must exist before every static SenderCheck

class VerdictTally;

class FWK_EXPORT SenderCheck {
 public:
  // The four verdicts.
  enum class Verdict { kPassed, kFailed, kNone, kNoVerdict };

  // The verdict that spfcheck would print; kNone if no check was made, or if it was ended by a
  // limit or by an exception, which would end spfcheck.
  enum class ToolVerdict { kPassed, kFailed, kNone };

  // The limits of a check.
  struct Limits {
    std::uint32_t lookUps = 0;                       // DNS questions
    std::chrono::steady_clock::time_point deadline;  // the check ends at most 0.1 s later
    int hangUp = -1;  // a stream socket whose peer ends the check by closing its end, or -1
  };

  // A domain that is looked up exactly as it is written, as spfcheck does, even if it ends in a dot
  // or is longer than DNS allows.
  struct AsWritten {
    std::string domain;  // the name, unchanged
  };

  // Checks whether the host with `address`, a dotted quad, may send mail for the domain of `sender`
  // (see DomainOf()), by `record` or, if there is none, by the record that the domain publishes.
  // `observer`, if not null, is told of each step; it must not throw.
  SenderCheck(const std::string& address, const std::string& sender,
              const std::optional<std::string>& record, const Limits& limits,
              CheckObserver* observer);

  // Does the same for the domain `written`, by the record that it publishes.
  SenderCheck(const std::string& address, const AsWritten& written, const Limits& limits);

  // Returns the verdict.
  Verdict GetVerdict() const { return m_verdict; }

  // Returns the verdict that spfcheck would print.
  ToolVerdict GetToolVerdict() const { return m_toolVerdict; }

  // Returns the reason of the verdict: a line of printable ASCII with at most some 300 characters.
  const std::string& GetReason() const { return m_reason; }

  // Returns a description of the first look-up that had no answer, an error code or a truncated
  // answer, or an empty text if all were answered in full. If one was not, the same check may have
  // another result later.
  const std::string& GetMissing() const { return m_missing; }

  // Returns whether a limit ended the check.
  bool HasHitLimit() const { return m_hasHitLimit; }

  // Returns the domain that was checked; empty for a malformed sender.
  const std::string& GetDomain() const { return m_domain; }

  // Returns how many DNS questions were asked.
  std::uint32_t GetLookUps() const { return m_lookUps; }

  // Returns the domain of an envelope sender: the text after its last "@", or all of it if it has
  // none, without angle brackets and one trailing dot. Returns an empty text unless that is a host
  // name: labels of 1 to 63 letters, digits, "-" and "_", with at most 253 characters in all.
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
