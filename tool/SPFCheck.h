// SPFCheck decides whether a host may send mail for a domain: it walks the domain's SPF record
// term by term until one matches. The whole evaluation, look-ups and nested checks included, runs
// in the constructor; after that only the verdict is read.
//
// It is simpler than RFC 7208 asks, on purpose. The verdict is whether a term matched; what a
// qualifier says is not looked at, and terms with "-", "~" or "?" never match. A failed include or
// redirect does not end the walk. The terms understood are, case-sensitive and by their beginning,
// each also with "+" in front:
//
//   a         an A record of the target or, without one, of the domain is the client's address;
//             with "/prefix" the range that starts at the record holds it. Every term that begins
//             with "a" is one, "all" too; so is each that begins with "+a", but not with "+all".
//   mx        never matches
//   ip4       the address or range behind "ip4:" holds the client's address (Socket::IsInRange)
//   include   the check of the domain behind "include:" passes
//   redirect  the check of the domain behind "redirect=" passes
//
// No other term matches. Most are logged as not supported; silent are those that begin
// with "v=spf" or "+all", and those in which "all" follows the first character: "-all", "~all" and
// "?all", and "-allow", "xall" and "?all:example.org" as well.
//
// Values are found by counting characters, so with "+" in front ip4, include and redirect keep the
// separator. "+ip4:192.0.2.1" is the range ":192.0.2.1", which counts as 255.255.255.255: it holds
// that client, and each whose address is not a dotted quad, such as one of IPv6. "+ip41.2.3.4"
// holds 1.2.3.4. "+include:example.org" passes where the check of the name ":example.org" does,
// "+redirect=example.org" where that of "=example.org" does.
//
// One thread at a time. A check blocks as its look-ups do (DNSSocket): 10 s at most for each,
// longer where signals arrive meanwhile. It needs more than 1 MiB of stack, or the first time-out
// ends the process by SIGSEGV. Where a program has some 1,019 descriptors open, each look-up fails
// without an exception, and so does the check of a host that may send.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/Export.h"
#include "framework/dns/DNSSocket.h"  // for what must exist before every static SPFCheck
#include "framework/net/Socket.h"

class CheckBudget;
class CheckObserver;

class FWK_EXPORT SPFCheck : public Socket {
 public:
  // ip: the client's IPv4 address, dotted quad, not checked.
  //
  // smtpFrom: the envelope sender; if it has an "@", what stands behind the first one is the
  // domain, whatever domain says. " @>\t\r\n" are cut off at both its ends.
  //
  // domain: whose record is looked up if spfRecord is empty.
  //
  // depth: 0 for a check of its own; above 10 nothing is evaluated. Each include or redirect that a
  // check starts raises it by one for itself and for those behind it, so a chain has at most 11
  // levels and one record at most 10 includes that count.
  //
  // spfRecord: the record to evaluate in place of the published one.
  //
  // Throws what DNSSocket's look-ups throw, std::out_of_range (of std::string::substr) for the bare
  // terms "ip4", "include" and "redirect", and std::invalid_argument "non-digit character" for a
  // prefix that is not a number.
  SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
           std::int32_t depth, std::string spfRecord);

  // As above, within `budget`, which nested checks use as well and whose observer is told of each
  // step. `budget` must outlive the object. Throws a BudgetException, too, when a look-up goes
  // beyond the budget or is cut short by it, and a SocketException when a look-up cannot have a
  // descriptor below 1024. A time-out needs no large stack here.
  SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
           std::int32_t depth, std::string spfRecord, CheckBudget& budget);
  ~SPFCheck() noexcept(false) override;

  // Whether a term matched.
  bool getResult() const;

 private:
  using TermHandler = bool (SPFCheck::*)(const std::string& term, const std::string& ip);
  struct TermKind;

  SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
           std::int32_t depth, std::string spfRecord, CheckBudget* budget);

  template <typename... Types, typename... Values>
  void tell(void (CheckObserver::*step)(Types...), const Values&... values) const;
  void takeDomainOfSender();
  std::string findRecord() const;
  void evaluate(const std::string& ip, std::string_view spfRecord);

  // Whether a term matches the client address ip. The handlers' definitions stand in
  // SPFCheckMechanisms.cpp.
  bool process(const std::string& term, const std::string& ip);
  bool processA(const std::string& term, const std::string& ip);
  bool processMX(const std::string& term, const std::string& ip);
  bool processIP4(const std::string& term, const std::string& ip);
  bool processINCLUDE(const std::string& term, const std::string& ip);
  bool processREDIRECT(const std::string& term, const std::string& ip);
  bool processNested(const std::string& target, const std::string& ip, const char* name);

  // The target of a term, between its first ":" and its first "/"; empty without a ":". In
  // targetOrDomain the check's own domain stands in for an empty one.
  static std::string getDomain(const std::string& term);
  std::string targetOrDomain(const std::string& term) const;

  // The prefix length of a term, from its first "/" on; empty without one.
  static std::string getCIDR(const std::string& term);

  // Return whether one of the A records of `domain`, or of `addresses`, followed by `cidr`, has
  // `ip`, and whether the range `cidr` does.
  bool checkDomain(const std::string& domain, const std::string& cidr, const std::string& ip) const;
  static bool checkAddresses(const std::vector<std::string>& addresses, const std::string& cidr,
                             const std::string& ip);
  static bool checkIP(const std::string& cidr, const std::string& ip);

  bool m_result = false;
  std::string m_smtpFrom;
  std::string m_domain;             // the domain evaluated
  std::int32_t m_depth;             // grows with each include and redirect that this check starts
  CheckBudget* m_budget = nullptr;  // null: no limits, and nobody is told
};
