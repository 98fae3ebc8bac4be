#include "tool/CommandLine.h"

#include <arpa/inet.h>

#include <charconv>
#include <stdexcept>
#include <system_error>

#include "framework/dns/NameServer.h"
#include "tool/Printable.h"

namespace {

constexpr std::size_t kLongestQuote = 80;
constexpr double kShortestTime = 0.001;         // seconds
constexpr double kLongestTime = 24 * 60 * 60.;  // seconds

}  // namespace

std::string QuoteArgument(std::string_view argument) {
  return ToPrintable(argument, kLongestQuote);
}

double ReadNumber(const std::string& text) {
  double number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number, std::chars_format::fixed);
  return error == std::errc() && rest == end ? number : -1;
}

std::chrono::milliseconds ReadTimeLimit(const std::string& text) {
  const double seconds = ReadNumber(text);
  if (!(seconds >= kShortestTime && seconds <= kLongestTime)) {
    throw std::invalid_argument("the time limit is a number of seconds, 0.001 to 86400: " +
                                QuoteArgument(text));
  }
  return std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

std::string ReadServer(const std::string& text) {
  in_addr address{};
  if (inet_pton(AF_INET, text.c_str(), &address) != 1 || address.s_addr == INADDR_ANY) {
    throw std::invalid_argument("the name server is an IPv4 address other than 0.0.0.0: " +
                                QuoteArgument(text));
  }
  return text;
}

bool HasServer() {
  const in_addr_t address = inet_addr(dns_servers.c_str());
  return address != INADDR_ANY && address != INADDR_NONE;
}

std::string DescribeMissingServer() {
  return "/etc/resolv.conf names no server with an IPv4 address, but " +
         QuoteArgument(dns_servers) + ": name one by --server";
}
