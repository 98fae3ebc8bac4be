// SPFTerm is one term of an SPF record as RFC 7208 reads it, section 4.6.1. The check itself
// (SPFCheck) understands fewer terms; beside it this class tells whether a term that the check
// passed over could have matched.
//
// A value type; nothing blocks.

#pragma once

#include <netinet/in.h>

#include <string>
#include <string_view>
#include <vector>

#include "framework/core/Export.h"

// Returns whether a text is an SPF record: "v=spf1" in any case, alone or before a blank.
FWK_EXPORT bool IsSPFRecord(std::string_view text);

// Returns the terms of `record`, the version first, without the blanks between them.
FWK_EXPORT std::vector<std::string> SplitSPFRecord(std::string_view record);

class FWK_EXPORT SPFTerm {
 public:
  // What a term is.
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
    kModifier,     // any other
    kMalformed,    // an unknown mechanism, or a term whose value is wrong
  };

  // `text`: the term, without blanks around it.
  explicit SPFTerm(const std::string& text);

  // Returns what the term is.
  Kind GetKind() const { return m_kind; }

  // Returns '+', also where the term does not say it, '-', '~' or '?'.
  char GetQualifier() const { return m_qualifier; }

  // Returns whether SPFCheck looks at what the term says. It does so for a, ip4, include and
  // redirect in lower case, without a macro and without a qualifier; a may have "+".
  bool IsEvaluated() const { return m_isEvaluated; }

  // Returns whether the term counts among the ten that RFC 7208, section 4.6.4, allows.
  bool CostsLookUp() const;

  // Returns whether a term that SPFCheck did not match would match the client, or nobody can say,
  // if it were read as RFC 7208 says. `addresses`: what the look-up of an a term gave.
  bool CouldMatch(in_addr_t client, const std::vector<std::string>& addresses) const;

  // Returns whether the range of an ip4 term, its host bits masked, has the client.
  bool Covers(in_addr_t client) const;

  // Returns whether the range that begins with `address`, with the prefix length of an a term, has
  // the client, the host bits of both masked.
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
