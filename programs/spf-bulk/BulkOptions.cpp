#include "programs/spf-bulk/BulkOptions.h"

#include <getopt.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "tool/CommandLine.h"

namespace {

constexpr double kLeastRate = 0.001;  // checks a second
constexpr double kMostRate = 1e6;

// ":" leaves messages to this program.
constexpr char kShortOptions[] = ":j:hV";

// Options without a letter.
enum Word { kOutput = 256, kResume, kErrors, kTimeLimit, kRate, kServer, kProgress, kNoProgress };

constexpr option kLongOptions[] = {{"jobs", required_argument, nullptr, 'j'},
                                   {"output", required_argument, nullptr, kOutput},
                                   {"resume", no_argument, nullptr, kResume},
                                   {"errors", required_argument, nullptr, kErrors},
                                   {"time-limit", required_argument, nullptr, kTimeLimit},
                                   {"rate", required_argument, nullptr, kRate},
                                   {"server", required_argument, nullptr, kServer},
                                   {"progress", no_argument, nullptr, kProgress},
                                   {"no-progress", no_argument, nullptr, kNoProgress},
                                   {"help", no_argument, nullptr, 'h'},
                                   {"version", no_argument, nullptr, 'V'},
                                   {nullptr, 0, nullptr, 0}};

// Describes an option that getopt_long rejected with `fault`. `word`: the argument before the next
// one to be read.
std::string DescribeFault(int fault, const std::string& word) {
  if (fault == ':') {
    return "a value is missing after " + QuoteArgument(word);
  }
  if (optopt > ' ' && optopt <= '~') {
    return std::string("no such option: -") + static_cast<char>(optopt);
  }
  return (optopt >= kOutput ? "an option that takes no value: " : "no such option: ") +
         QuoteArgument(word);
}

unsigned ReadJobs(const std::string& value) {
  const double jobs = ReadNumber(value);
  if (jobs > BulkOptions::kMostJobs) {
    throw std::invalid_argument(
        "at most 900 checks at once, as the descriptor of a look-up must be below 1024: " +
        QuoteArgument(value));
  }
  if (jobs < 1 || value.find_first_not_of("0123456789") != std::string::npos) {
    throw std::invalid_argument("the number of checks at once is 1 to 900: " +
                                QuoteArgument(value));
  }
  return static_cast<unsigned>(jobs);
}

// Returns the time between two beginnings.
std::chrono::nanoseconds ReadRate(const std::string& value) {
  const double rate = ReadNumber(value);
  if (!(rate >= kLeastRate && rate <= kMostRate)) {
    throw std::invalid_argument("the rate is a number of checks a second, 0.001 to 1000000: " +
                                QuoteArgument(value));
  }
  return std::chrono::ceil<std::chrono::nanoseconds>(std::chrono::duration<double>(1 / rate));
}

void TakeOption(BulkOptions& options, int option, const char* word) {
  switch (option) {
    case 'j':
      options.jobs = ReadJobs(optarg);
      break;
    case kOutput:
      options.output = optarg;
      break;
    case kResume:
      options.isResumed = true;
      break;
    case kErrors:
      options.errors = optarg;
      break;
    case kTimeLimit:
      options.timeLimit = ReadTimeLimit(optarg);
      break;
    case kRate:
      options.interval = ReadRate(optarg);
      break;
    case kServer:
      options.server = ReadServer(optarg);
      break;
    case kProgress:
    case kNoProgress:
      options.showsProgress = option == kProgress;
      break;
    case 'h':
      options.action = BulkOptions::Action::kHelp;
      break;
    case 'V':
      options.action = BulkOptions::Action::kVersion;
      break;
    default:
      throw std::invalid_argument(DescribeFault(option, word));
  }
}

void TakeArguments(BulkOptions& options, const std::vector<std::string>& arguments) {
  if (arguments.size() > 1) {
    throw std::invalid_argument("one file at most: " + QuoteArgument(arguments[1]));
  }
  if (!arguments.empty() && arguments[0] != "-") {
    options.input = arguments[0];
  }
  if (options.isResumed && !options.output) {
    throw std::invalid_argument("--resume needs --output");
  }
}

}  // namespace

BulkOptions ReadOptions(int count, char* arguments[]) {
  BulkOptions options;
  opterr = 0;
  int option = 0;
  while (options.action == BulkOptions::Action::kRun &&
         (option = getopt_long(count, arguments, kShortOptions, kLongOptions, nullptr)) != -1) {
    TakeOption(options, option, arguments[optind - 1]);
  }
  if (options.action == BulkOptions::Action::kRun) {
    TakeArguments(options, {arguments + std::min(optind, count), arguments + count});
  }
  return options;
}
