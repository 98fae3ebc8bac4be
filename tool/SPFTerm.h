// SPFTerm is one term of an SPF record according to RFC 7208, section 4.6.1. SPFCheck evaluates
// fewer terms; this class tells whether a term that it passed over could have matched.
//
// A value type; nothing blocks.

#pragma once

#include <netinet/in.h>

#include <string>
#include <string_view>
#include <vector>

#include "framework/core/Export.h"

// Returns whether `text` is an SPF record: "v=spf1" in any case, alone or followed by a blank.
FWK_EXPORT bool IsSPFRecord(std::string_view text);

// Returns the terms of `record`, the version first, without the blanks between them.
FWK_EXPORT std::vector<std::string> SplitSPFRecord(std::string_view record);

class FWK_EXPORT SPFTerm {
 public:
  // The kind of a term.
  enum class Kind {
    kVersion,
    kAll,
    kA,
    kMX,
    kPtr,
    kIp4,
    kIp6,
    kExists,
    kInclude,
    kRedirect,
    kExplanation,  // exp
    kModifier,     // any other modifier
    kMalformed,    // an unknown mechanism, or a term whose value is wrong
  };

  // Parses `text`, which has no blanks around it.
  explicit SPFTerm(const std::string& text);

  // Returns the kind of the term.
  Kind GetKind() const { return m_kind; }

  // Returns '+', '-', '~' or '?'; '+' if the term has no qualifier.
  char GetQualifier() const { return m_qualifier; }

  // Returns whether SPFCheck evaluates the term. It evaluates a, ip4, include and redirect if they
  // are in lower case and have no macro and no qualifier; a may have "+".
  bool IsEvaluated() const { return m_isEvaluated; }

  // Returns whether the term counts towards the ten look-ups of RFC 7208, section 4.6.4.
  bool CostsLookUp() const;

  // Returns whether a term that did not match in SPFCheck matches `client` according to RFC 7208,
  // or might match. `addresses` are the result of the look-up of an a term.
  bool CouldMatch(in_addr_t client, const std::vector<std::string>& addresses) const;

  // Returns whether the range of an ip4 term, with its host bits masked, contains `client`.
  bool Covers(in_addr_t client) const;

  // Returns whether `client` has the same network as `address`, by the prefix length of an a term.
  bool Covers(const std::string& address, in_addr_t client) const;

 private:
  void ParseModifier(const std::string& name, const std::string& value);
  void ParseMechanism(const std::string& text);
  bool ParsePrefix(std::string_view text);
  bool ParseTarget(std::string_view value, bool isRequired, bool hasPrefix);
  bool ParseValue(std::string_view value);

  Kind m_kind = Kind::kMalformed;
  char m_qualifier = '+';
  bool m_isEvaluated = false;
  std::string m_network;  // of ip4
  int m_prefix = 32;      // of ip4 and a
};
