#include "programs/spf-bulk/SenderLine.h"

#include <algorithm>

#include "tool/SenderCheck.h"

namespace {

constexpr std::size_t kLongestLabel = 63;  // RFC 1035, section 2.3.4

bool IsFieldCharacter(char c) {
  return c > ' ' && c <= '~' && c != '"';
}

bool IsNameCharacter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
         c == '-' || c == '_';
}

// Returns whether each label has 1 to 63 characters.
bool HasFitLabels(std::string_view name) {
  std::size_t label = 0;
  for (const char c : name) {
    if (c == '.' ? label == 0 : label == kLongestLabel) {
      return false;
    }
    label = c == '.' ? 0 : label + 1;
  }
  return label != 0;
}

bool IsHostName(std::string_view name) {
  return std::all_of(name.begin(), name.end(), IsNameCharacter) && !name.starts_with('-') &&
         HasFitLabels(name);
}

// Returns the text after the "@" of a sender, without a closing bracket.
std::string_view HostOf(std::string_view sender) {
  sender.remove_prefix(sender.find('@') + 1);
  if (sender.ends_with('>')) {
    sender.remove_suffix(1);
  }
  return sender;
}

}  // namespace

SenderLine::SenderLine(std::string_view line) : m_fault(FindFault(line)) {}

std::string_view SenderLine::FindFault(std::string_view line) {
  if (line.empty()) {
    return "empty line";
  }
  if (line.size() > kLongest) {
    return "more than 1000 characters";
  }
  if (!std::all_of(line.begin(), line.end(), IsFieldCharacter)) {
    return "a blank or a quote or a character that is not printable ASCII";
  }
  if (std::count(line.begin(), line.end(), ',') != 2) {
    return "not three fields";
  }
  const std::size_t first = line.find(',');
  const std::size_t second = line.rfind(',');
  m_domain = line.substr(0, first);
  m_address = line.substr(first + 1, second - first - 1);
  m_sender = line.substr(second + 1);
  if (!SenderCheck::IsAddress(GetAddress())) {
    return "the address is not a dotted quad";
  }
  const bool hasHost = m_sender.find('@') != std::string_view::npos;
  if (!m_domain.empty() && !IsHostName(m_domain)) {
    return "the domain is not a host name";
  }
  if (hasHost && !IsHostName(HostOf(m_sender))) {
    return "no host name after @";
  }
  return m_domain.empty() && !hasHost ? "no domain" : "";
}

std::string SenderLine::GetDomain() const {
  const bool hasHost = m_sender.find('@') != std::string_view::npos;
  return std::string(hasHost ? HostOf(m_sender) : m_domain);
}

std::string_view SenderLine::WithoutCarriageReturn(std::string_view line) {
  if (line.ends_with('\r')) {
    line.remove_suffix(1);
  }
  return line;
}
