#include "tool/SPFTerm.h"

#include <arpa/inet.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdint>
#include <utility>

#include "framework/Utilities/StringUtilities.h"
#include "tool/DomainName.h"

namespace {

using Kind = SPFTerm::Kind;

constexpr std::pair<std::string_view, Kind> kMechanisms[] = {
    {"all", Kind::kAll},       {"a", Kind::kA},
    {"mx", Kind::kMX},         {"ptr", Kind::kPtr},
    {"ip4", Kind::kIp4},       {"ip6", Kind::kIp6},
    {"exists", Kind::kExists}, {"include", Kind::kInclude},
};

bool IsNameCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '-' || c == '_' || c == '.';
}

// Returns whether `text` may be the value of a term: printable ASCII without blanks.
bool IsPrintable(std::string_view text) {
  return std::ranges::all_of(text, [](char c) { return c > ' ' && c <= '~'; });
}

bool HasMacro(std::string_view text) {
  return text.find('%') != std::string_view::npos;
}

// Returns whether `text` may be the last label of a domain: letters, digits and inner "-", not
// digits alone.
bool IsTopLabel(std::string_view text) {
  const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  return std::ranges::all_of(text, [](char c) { return c != '_' && IsNameCharacter(c); }) &&
         !std::ranges::all_of(text, isDigit) && !text.starts_with('-') && !text.ends_with('-');
}

// Returns whether `text` is a domain according to RFC 7208, section 7.1, or has a macro and might
// be one.
bool IsDomainSpec(std::string_view text) {
  if (HasMacro(text)) {
    return true;
  }
  if (text.ends_with('.')) {
    text.remove_suffix(1);
  }
  const std::size_t dot = text.rfind('.');
  return dot != std::string_view::npos && IsDomainName(text) && IsTopLabel(text.substr(dot + 1));
}

bool IsNumberUpTo(std::string_view text, int limit) {
  return !text.empty() && text.size() <= 3 &&
         std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; }) &&
         (text.size() == 1 || text.front() != '0') &&
         StringToIntOr(std::string(text), limit + 1) <= limit;
}

bool IsAddress(int family, std::string_view text) {
  in6_addr address{};
  return inet_pton(family, std::string(text).c_str(), &address) == 1;
}

// Cuts `text` at the first `mark`. Returns the text after the mark, or an empty one without a mark.
std::string_view CutAt(std::string_view& text, std::string_view mark) {
  const std::size_t at = text.find(mark);
  if (at == std::string_view::npos) {
    return {};
  }
  const std::string_view rest = text.substr(at + mark.size());
  text = text.substr(0, at);
  return rest;
}

std::uint32_t Masked(in_addr_t address, int prefix) {
  return prefix == 0 ? 0 : ntohl(address) >> (32 - prefix);
}

}  // namespace

bool IsSPFRecord(std::string_view text) {
  constexpr std::string_view kVersion = "v=spf1";
  return ToLower(std::string(text.substr(0, kVersion.size()))) == kVersion &&
         (text.size() == kVersion.size() || text[kVersion.size()] == ' ');
}

std::vector<std::string> SplitSPFRecord(std::string_view record) {
  std::vector<std::string> terms;
  while (!record.empty()) {
    const std::string_view term = record.substr(0, record.find(' '));
    if (!term.empty()) {
      terms.emplace_back(term);
    }
    record.remove_prefix(std::min(record.size(), term.size() + 1));
  }
  return terms;
}

SPFTerm::SPFTerm(const std::string& text) {
  if (text.empty() || !IsPrintable(text)) {
    return;
  }
  const auto end = std::ranges::find_if_not(text, IsNameCharacter);
  if (end == text.end() || *end != '=' || std::isalpha(static_cast<unsigned char>(text[0])) == 0) {
    ParseMechanism(text);
    return;
  }
  ParseModifier({text.begin(), end}, {end + 1, text.end()});
}

void SPFTerm::ParseModifier(const std::string& name, const std::string& value) {
  const std::string lowerName = ToLower(name);
  if (lowerName == "v") {
    m_kind = Kind::kVersion;
  } else if (lowerName != "redirect" && lowerName != "exp") {
    m_kind = Kind::kModifier;
  } else if (IsDomainSpec(value)) {
    m_kind = lowerName == "exp" ? Kind::kExplanation : Kind::kRedirect;
    m_isEvaluated = name == "redirect" && !HasMacro(value);
  }
}

void SPFTerm::ParseMechanism(const std::string& text) {
  const bool hasQualifier = std::string_view("+-~?").find(text[0]) != std::string_view::npos;
  m_qualifier = hasQualifier ? text[0] : '+';
  const std::string_view rest = std::string_view(text).substr(hasQualifier ? 1 : 0);
  const std::string_view name = rest.substr(0, rest.find_first_of(":/"));
  const auto* const known = std::ranges::find(kMechanisms, ToLower(std::string(name)),
                                              &std::pair<std::string_view, Kind>::first);
  if (known == std::end(kMechanisms)) {
    return;
  }
  m_kind = known->second;
  if (!ParseValue(rest.substr(name.size()))) {
    m_kind = Kind::kMalformed;
    return;
  }
  const bool isWritten = name == known->first && !HasMacro(rest);
  const bool isKnown = m_kind == Kind::kA
                           ? !hasQualifier || text[0] == '+'
                           : !hasQualifier && (m_kind == Kind::kIp4 || m_kind == Kind::kInclude);
  m_isEvaluated = isWritten && isKnown;
}

// Reads the rest of a mechanism after its name, beginning with ":" or "/".
bool SPFTerm::ParseValue(std::string_view value) {
  switch (m_kind) {
    case Kind::kAll:
      return value.empty();
    case Kind::kA:
    case Kind::kMX:
      return ParseTarget(value, false, true);
    case Kind::kPtr:
      return ParseTarget(value, false, false);
    case Kind::kExists:
    case Kind::kInclude:
      return ParseTarget(value, true, false);
    case Kind::kIp4: {
      const bool hasPrefix = value.find('/') != std::string_view::npos;
      const std::string_view prefix = CutAt(value, "/");
      m_network = value.substr(std::min<std::size_t>(value.size(), 1));
      return value.starts_with(':') && IsAddress(AF_INET, m_network) &&
             (!hasPrefix || ParsePrefix(prefix));
    }
    default: {
      const bool hasPrefix = value.find('/') != std::string_view::npos;
      const std::string_view prefix = CutAt(value, "/");
      return value.starts_with(':') && IsAddress(AF_INET6, value.substr(1)) &&
             (!hasPrefix || IsNumberUpTo(prefix, 128));
    }
  }
}

// Reads ":" and a domain, "/" and a prefix length, "//" and a prefix length for IPv6; each may be
// missing.
bool SPFTerm::ParseTarget(std::string_view value, bool isRequired, bool hasPrefix) {
  if (hasPrefix) {
    const bool hasSixth = value.find("//") != std::string_view::npos;
    const std::string_view sixth = CutAt(value, "//");
    const bool hasFourth = value.find('/') != std::string_view::npos;
    const std::string_view fourth = CutAt(value, "/");
    if ((hasSixth && !IsNumberUpTo(sixth, 128)) || (hasFourth && !ParsePrefix(fourth))) {
      return false;
    }
  }
  return value.empty() ? !isRequired : value.starts_with(':') && IsDomainSpec(value.substr(1));
}

bool SPFTerm::ParsePrefix(std::string_view text) {
  if (!IsNumberUpTo(text, 32)) {
    return false;
  }
  m_prefix = StringToIntOr(std::string(text), 32);
  return true;
}

bool SPFTerm::CostsLookUp() const {
  constexpr std::array kCostly = {Kind::kA,      Kind::kMX,      Kind::kPtr,
                                  Kind::kExists, Kind::kInclude, Kind::kRedirect};
  return std::ranges::find(kCostly, m_kind) != kCostly.end();
}

bool SPFTerm::CouldMatch(in_addr_t client, const std::vector<std::string>& addresses) const {
  switch (m_kind) {
    case Kind::kIp4:
      return Covers(client);
    case Kind::kA:
      return !m_isEvaluated || std::ranges::any_of(addresses, [&](const std::string& address) {
        return Covers(address, client);
      });
    case Kind::kInclude:
    case Kind::kRedirect:
      return !m_isEvaluated;
    case Kind::kVersion:
    case Kind::kExplanation:
    case Kind::kModifier:
    case Kind::kIp6:
      return false;
    default:
      return true;
  }
}

bool SPFTerm::Covers(in_addr_t client) const {
  return Covers(m_network, client);
}

bool SPFTerm::Covers(const std::string& address, in_addr_t client) const {
  in_addr network{};
  return inet_pton(AF_INET, address.c_str(), &network) == 1 &&
         Masked(network.s_addr, m_prefix) == Masked(client, m_prefix);
}
