#include "programs/spf-may-send/MaySendOptions.h"

#include <getopt.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

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

void TakeOption(MaySendOptions& options, int option, const char* word) {
  switch (option) {
    case 't':
      options.timeLimit = ReadTimeLimit(optarg);
      break;
    case 's':
      options.server = ReadServer(optarg);
      break;
    case 'r':
      options.record = optarg;
      break;
    case 'e':
      options.isExplained = true;
      break;
    case 'q':
      options.isQuiet = true;
      break;
    case 'h':
      options.action = MaySendOptions::Action::kHelp;
      break;
    case 'V':
      options.action = MaySendOptions::Action::kVersion;
      break;
    default:
      throw std::invalid_argument(DescribeFault(option, word));
  }
}

// Returns a hint if the terms of a record without quotes became arguments, otherwise nothing.
std::string AdviseOnQuotes(const std::optional<std::string>& record) {
  const bool isCut = record && IsSPFRecord(*record) && record->find(' ') == std::string::npos;
  return isCut ? "; a record is written in quotes" : "";
}

void Read(MaySendOptions& options, int count, char* arguments[]) {
  opterr = 0;
  int option = 0;
  while (options.action == MaySendOptions::Action::kCheck &&
         (option = getopt_long(count, arguments, kShortOptions, kLongOptions, nullptr)) != -1) {
    TakeOption(options, option, arguments[optind - 1]);
  }
  if (options.action != MaySendOptions::Action::kCheck) {
    return;
  }
  const std::vector<std::string> words(arguments + std::min(optind, count), arguments + count);
  if (words.size() != 2) {
    throw std::invalid_argument(AdviseOnCount(words));
  }
  options.address = words[0];
  options.sender = words[1];
}

}  // namespace

MaySendOptions ReadOptions(int count, char* arguments[]) {
  MaySendOptions options;
  try {
    Read(options, count, arguments);
  } catch (const std::invalid_argument& fault) {
    throw std::invalid_argument(fault.what() + AdviseOnQuotes(options.record));
  }
  return options;
}
