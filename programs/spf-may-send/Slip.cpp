#include "programs/spf-may-send/Slip.h"

#include <arpa/inet.h>

#include <algorithm>

#include "tool/CommandLine.h"
#include "tool/SenderCheck.h"

namespace {

bool IsSixthVersion(const std::string& text) {
  in6_addr address{};
  return inet_pton(AF_INET6, text.c_str(), &address) == 1;
}

bool IsAnyAddress(const std::string& text) {
  return SenderCheck::IsAddress(text) || IsSixthVersion(text);
}

bool IsNumeric(const std::string& text) {
  return text.find_first_not_of("0123456789.") == std::string::npos;
}

// Returns the only dotted quad in `text`; empty if there is none or more than one.
std::string AddressWithin(const std::string& text) {
  std::string found;
  std::size_t at = 0;
  while ((at = text.find_first_of("0123456789.", at)) != std::string::npos) {
    const std::size_t end = std::min(text.find_first_not_of("0123456789.", at), text.size());
    const std::string part = text.substr(at, end - at);
    if (SenderCheck::IsAddress(part)) {
      if (!found.empty()) {
        return "";
      }
      found = part;
    }
    at = end;
  }
  return found;
}

std::string AdviseOnAddress(const std::string& address, const std::string& sender) {
  const std::string within = AddressWithin(address);
  if (IsAnyAddress(sender)) {
    return "the arguments are swapped: the address is the first one";
  }
  if (!within.empty()) {
    return "write the address alone: " + within;
  }
  if (IsSixthVersion(address)) {
    return "IPv6 is not supported: only an IPv4 address can be checked";
  }
  if (address.empty()) {
    return "it is empty";
  }
  if (IsNumeric(address)) {
    return "an IPv4 address is four numbers from 0 to 255 without leading zeros";
  }
  if (address.find('@') != std::string::npos) {
    return "the first argument is the address of the host that sends, as 192.0.2.7";
  }
  if (!SenderCheck::DomainOf(address).empty()) {
    return "it is a host name: write the host's address, as `spfcheck " + QuoteArgument(address) +
           "` shows it";
  }
  return "an IPv4 address, as 192.0.2.7, is wanted";
}

std::string AdviseOnSender(const std::string& sender) {
  const bool isForeign =
      std::ranges::any_of(sender, [](char c) { return static_cast<unsigned char>(c) >= 0x80; });
  const std::size_t open = sender.rfind('<');
  const std::size_t close = sender.rfind('>');
  if (sender.empty() || sender == "<>") {
    return "it is empty; for a bounce write the name that the host gave in EHLO";
  }
  if (open != std::string::npos && open < close && sender.size() > close - open + 1) {
    return "write the address alone: " + QuoteArgument(sender.substr(open, close - open + 1));
  }
  if (sender.ends_with("]") || sender.ends_with("]>")) {
    return "an address in brackets has no record";
  }
  if (isForeign) {
    return "write the domain in its xn-- form";
  }
  return "a domain has labels of 1 to 63 letters, digits, - and _ with dots between them";
}

}  // namespace

std::string AdviseOnArguments(const std::string& address, const std::string& sender) {
  if (!SenderCheck::IsAddress(address)) {
    return AdviseOnAddress(address, sender);
  }
  const std::string domain = SenderCheck::DomainOf(sender);
  if (domain.empty()) {
    return AdviseOnSender(sender);
  }
  return SenderCheck::IsAddress(domain)
             ? "the second argument is a sender or a domain, not an address"
             : "";
}

std::string AdviseOnCount(const std::vector<std::string>& arguments) {
  if (arguments.empty()) {
    return "an address and a sender or domain are wanted";
  }
  if (arguments.size() == 1) {
    return IsAnyAddress(arguments[0]) ? "the sender or domain is missing"
                                      : "the address is missing: it is the first argument";
  }
  if (!IsAnyAddress(arguments[0]) && IsAnyAddress(arguments[1])) {
    return "too many arguments, in the order of spfcheck: here the address is the first one";
  }
  const auto option = std::find_if(arguments.begin() + 2, arguments.end(),
                                   [](const std::string& word) { return word.starts_with('-'); });
  if (option != arguments.end()) {
    return "options come before the address: " + QuoteArgument(*option);
  }
  return "too many arguments: " + QuoteArgument(arguments[2]);
}
