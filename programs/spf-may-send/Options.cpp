#include "programs/spf-may-send/Options.h"

#include <getopt.h>

#include <algorithm>
#include <stdexcept>

#include "programs/spf-may-send/Slip.h"
#include "tool/CommandLine.h"
#include "tool/SPFTerm.h"

namespace {

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

// Describes an option that getopt_long rejected with `fault`. `word`: the argument before the next
// one to be read.
std::string DescribeFault(int fault, const std::string& word) {
  if (fault == ':') {
    return "a value is missing after " + QuoteArgument(word);
  }
  if (optopt == 0) {
    return "no such option: " + QuoteArgument(word);
  }
  if (std::ranges::find(kLongOptions, optopt, &option::val) != std::end(kLongOptions)) {
    return "an option that takes no value: " + QuoteArgument(word);
  }
  return "no such option: -" + QuoteArgument(std::string(1, static_cast<char>(optopt)));
}

}  // namespace

Options::Options(int count, char* arguments[]) {
  try {
    Read(count, arguments);
  } catch (const std::invalid_argument& fault) {
    throw std::invalid_argument(fault.what() + AdviseOnQuotes());
  }
}

void Options::Read(int count, char* arguments[]) {
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
      m_timeLimit = ReadTimeLimit(optarg);
      break;
    case 's':
      m_server = ReadServer(optarg);
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
      throw std::invalid_argument(DescribeFault(option, word));
  }
}

void Options::TakeArguments(const std::vector<std::string>& arguments) {
  if (arguments.size() != 2) {
    throw std::invalid_argument(AdviseOnCount(arguments));
  }
  m_address = arguments[0];
  m_sender = arguments[1];
}

// Returns a hint if the terms of a record without quotes became arguments, otherwise nothing.
std::string Options::AdviseOnQuotes() const {
  const bool isCut = m_record && IsSPFRecord(*m_record) && m_record->find(' ') == std::string::npos;
  return isCut ? "; a record is written in quotes" : "";
}
