#include "programs/spf-may-send/Options.h"

#include <arpa/inet.h>
#include <getopt.h>

#include <algorithm>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "programs/spf-may-send/Slip.h"
#include "tool/Printable.h"
#include "tool/SPFTerm.h"

namespace {

constexpr std::size_t kLongestQuote = 80;       // characters of an argument in a message
constexpr double kShortestTime = 0.001;         // seconds
constexpr double kLongestTime = 24 * 60 * 60.;  // seconds

// "+" stops at the first argument that is not an option; ":" leaves messages to this program.
constexpr char kShortOptions[] = "+:t:s:r:eqhV";

constexpr option kLongOptions[] = {{"time-limit", required_argument, nullptr, 't'},
                                   {"server", required_argument, nullptr, 's'},
                                   {"record", required_argument, nullptr, 'r'},
                                   {"explain", no_argument, nullptr, 'e'},
                                   {"quiet", no_argument, nullptr, 'q'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {"version", no_argument, nullptr, 'V'},
                                   {nullptr, 0, nullptr, 0}};

std::string Quote(std::string_view text) {
  return ToPrintable(text, kLongestQuote);
}

// Describes an option that getopt_long rejected with `fault`. `word`: the argument before the next
// one to be read.
std::string DescribeFault(int fault, const std::string& word) {
  if (fault == ':') {
    return "a value is missing after " + Quote(word);
  }
  if (optopt == 0) {
    return "no such option: " + Quote(word);
  }
  if (std::ranges::find(kLongOptions, optopt, &option::val) != std::end(kLongOptions)) {
    return "an option that takes no value: " + Quote(word);
  }
  return "no such option: -" + Quote(std::string(1, static_cast<char>(optopt)));
}

}  // namespace

Options::Options(int count, char* arguments[]) {
  opterr = 0;
  int option = 0;
  while (m_action == Action::kCheck &&
         (option = getopt_long(count, arguments, kShortOptions, kLongOptions, nullptr)) != -1) {
    TakeOption(option, arguments[optind - 1]);
  }
  if (m_action == Action::kCheck) {
    TakeArguments({arguments + std::min(optind, count), arguments + count});
  }
}

void Options::TakeOption(int option, const char* word) {
  switch (option) {
    case 't':
      TakeTimeLimit(optarg);
      break;
    case 's':
      TakeServer(optarg);
      break;
    case 'r':
      m_record = optarg;
      break;
    case 'e':
      m_isExplained = true;
      break;
    case 'q':
      m_isQuiet = true;
      break;
    case 'h':
      m_action = Action::kHelp;
      break;
    case 'V':
      m_action = Action::kVersion;
      break;
    default:
      Refuse(DescribeFault(option, word));
  }
}

void Options::TakeTimeLimit(const std::string& value) {
  double seconds = 0;
  const char* const end = value.data() + value.size();
  const auto [rest, error] = std::from_chars(value.data(), end, seconds, std::chars_format::fixed);
  if (error != std::errc() || rest != end ||
      !(seconds >= kShortestTime && seconds <= kLongestTime)) {
    Refuse("the time limit is a number of seconds, 0.001 to 86400: " + Quote(value));
  }
  m_timeLimit =
      std::chrono::ceil<std::chrono::milliseconds>(std::chrono::duration<double>(seconds));
}

void Options::TakeServer(const std::string& value) {
  in_addr address{};
  if (inet_pton(AF_INET, value.c_str(), &address) != 1 || address.s_addr == INADDR_ANY) {
    Refuse("the name server is an IPv4 address other than 0.0.0.0: " + Quote(value));
  }
  m_server = value;
}

void Options::TakeArguments(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) {
    Refuse(AdviseOnCount(arguments));
  }
  m_address = arguments[0];
  m_sender = arguments[1];
}

// Throws `fault`, with a hint if the terms of a record without quotes became arguments.
void Options::Refuse(const std::string& fault) const {
  const bool isCut = m_record && IsSPFRecord(*m_record) && m_record->find(' ') == std::string::npos;
  throw std::invalid_argument(isCut ? fault + "; a record is written in quotes" : fault);
}
