// SPFCheck decides whether a host may send mail for a domain: it evaluates the terms of the
// domain's SPF record in order until one matches. The constructor does all the work, including
// look-ups and nested checks; getResult() returns the verdict.
//
// It is deliberately simpler than RFC 7208. The verdict is whether a term matched. Qualifiers are
// not evaluated; a term with "-", "~" or "?" never matches. If an include or redirect fails, the
// evaluation goes on with the next term. A term is recognised by its beginning, in lower case, with
// or without a "+" before it:
//
//   a         matches if an A record of the target (without one: of the domain) is the client's
//             address or, with "/prefix", if the range from that record on contains it. Every term
//             that begins with "a", even "all", is of this kind, and every term that begins with
//             "+a" but not with "+all".
//   mx        never matches
//   ip4       matches if the address or range after "ip4:" contains the client (Socket::IsInRange)
//   include   matches if the check of the domain after "include:" passes
//   redirect  matches if the check of the domain after "redirect=" passes
//
// No other term matches. Most are logged as not supported. Not logged are those that begin with
// "v=spf" or "+all" and those with "all" after their first character: "-all", "~all", "?all", and
// also "-allow", "xall" and "?all:example.org".
//
// The value of a term begins after a fixed number of characters. With a "+", the value of ip4,
// include and redirect therefore begins with the separator: "+ip4:192.0.2.1" is the range
// ":192.0.2.1", which counts as 255.255.255.255; it contains that address, and every text that is
// not a dotted quad, such as an IPv6 address. "+ip41.2.3.4" contains 1.2.3.4.
// "+include:example.org" checks ":example.org", and "+redirect=example.org" checks "=example.org".
//
// One thread at a time may use an object. A check blocks like its look-ups (DNSSocket.h): at most
// 10 s for each, longer if signals arrive. It needs more than 1 MiB of stack; otherwise the first
// time-out ends the process by SIGSEGV. If a program has some 1,019 descriptors open, every look-up
// fails without an exception, so a host that may send fails the check.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "framework/core/Export.h"
#include "framework/dns/DNSSocket.h"  // its statics must exist before every static SPFCheck
#include "framework/net/Socket.h"

class CheckBudget;
class CheckObserver;

class FWK_EXPORT SPFCheck : public Socket {
 public:
  // Checks whether the host with the IPv4 address `ip`, a dotted quad that is not verified, may
  // send mail for a domain. Evaluates `spfRecord` or, if that is empty, the record that the domain
  // publishes (of several that which DNSSocket::GetSPFRecord() returns).
  //
  // The domain is `domain`, unless `smtpFrom`, the envelope sender, has an "@": the text after the
  // first "@" then replaces `domain`, without any of " @>\t\r\n" at both ends.
  //
  // `depth` is 0 except for nested checks; above 10 nothing is evaluated. Each include or redirect
  // of a record raises it by one for itself and all later ones. So a chain has at most 11 levels,
  // and a record at most 10 includes that are evaluated.
  //
  // Throws what DNSSocket's look-ups throw, std::out_of_range (from std::string::substr) for the
  // bare terms "ip4", "include" and "redirect", and std::invalid_argument "non-digit character" for
  // a prefix that is not a number.
  SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
           std::int32_t depth, std::string spfRecord);

  // Does the same within `budget`, which nested checks share and whose observer is told of each
  // step. `budget` must outlive the object. Also throws a BudgetException if the budget does not
  // allow a look-up or cuts it short, and a SocketException if there is no descriptor below 1024. A
  // time-out needs no large stack here.
  SPFCheck(const std::string& ip, const std::string& smtpFrom, const std::string& domain,
           std::int32_t depth, std::string spfRecord, CheckBudget& budget);
  ~SPFCheck() noexcept(false) override;

  // Returns whether a term matched.
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

  // Return whether `term` matches the client with the address `ip`. The handlers are defined in
  // SPFCheckMechanisms.cpp.
  bool process(const std::string& term, const std::string& ip);
  bool processA(const std::string& term, const std::string& ip);
  bool processMX(const std::string& term, const std::string& ip);
  bool processIP4(const std::string& term, const std::string& ip);
  bool processINCLUDE(const std::string& term, const std::string& ip);
  bool processREDIRECT(const std::string& term, const std::string& ip);
  bool processNested(const std::string& target, const std::string& ip, const char* name);

  // Returns the target of a term, which is between its first ":" and its first "/"; empty without a
  // ":".
  static std::string getDomain(const std::string& term);

  // Returns the target of a term, or the domain of this check if the target is empty.
  std::string targetOrDomain(const std::string& term) const;

  // Returns the prefix length of a term, from its first "/" on; empty without one.
  static std::string getCIDR(const std::string& term);

  // Returns whether one of the A records of `domain`, followed by `cidr`, is a range that contains
  // `ip`.
  bool checkDomain(const std::string& domain, const std::string& cidr, const std::string& ip) const;

  // Does the same for `addresses`.
  static bool checkAddresses(const std::vector<std::string>& addresses, const std::string& cidr,
                             const std::string& ip);

  // Returns whether the range `cidr` contains `ip`.
  static bool checkIP(const std::string& cidr, const std::string& ip);

  bool m_result = false;
  std::string m_smtpFrom;
  std::string m_domain;             // the domain that is checked
  std::int32_t m_depth;             // grows with each include and redirect that this check starts
  CheckBudget* m_budget = nullptr;  // null if there are no limits and no observer
};
