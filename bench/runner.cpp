// Runs commands in rounds, each in an order of its own, so that what the machine does meanwhile and
// what one leaves behind falls on all of them alike. Prints what each run took as job, command,
// round, nanoseconds from fork to end, and peak memory in KiB, divided by tabs:
//   runner ROUNDS < PLAN
// PLAN: a command a line, in words divided by tabs: job, name of the command, program, arguments.
// A first round is run and not printed. Ends with status 1 when a command fails.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace {

struct Command {
  std::string job;
  std::string name;
  std::vector<std::string> words;
};

struct Cost {
  std::int64_t nanoseconds;
  long peakKiB;
};

[[noreturn]] void Fail(const char* what) {
  std::perror(what);
  std::exit(1);
}

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> words;
  std::size_t start = 0;
  for (std::size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
    words.push_back(line.substr(start, tab - start));
    start = tab + 1;
  }
  words.push_back(line.substr(start));
  return words;
}

std::vector<Command> ReadPlan() {
  std::vector<Command> plan;
  std::string line;
  for (int byte = std::getchar(); byte != EOF; byte = std::getchar()) {
    if (byte != '\n') {
      line.push_back(static_cast<char>(byte));
      continue;
    }
    std::vector<std::string> words = Split(line);
    line.clear();
    if (words.size() < 3) {
      std::fputs("runner: a line without a program\n", stderr);
      std::exit(1);
    }
    plan.push_back({words[0], words[1], {words.begin() + 2, words.end()}});
  }
  return plan;
}

std::int64_t Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return std::int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

[[noreturn]] void Become(char* const words[]) {
  dup2(open("/dev/null", O_RDWR), STDOUT_FILENO);
  execv(words[0], words);
  Fail(words[0]);
}

Cost Run(const Command& command) {
  std::vector<char*> words;
  for (const std::string& word : command.words) {
    words.push_back(const_cast<char*>(word.c_str()));
  }
  words.push_back(nullptr);

  const std::int64_t start = Now();
  const pid_t child = fork();
  if (child < 0) {
    Fail("fork");
  }
  if (child == 0) {
    Become(words.data());
  }
  int status = 0;
  rusage usage{};
  if (wait4(child, &status, 0, &usage) != child) {
    Fail("wait4");
  }
  const std::int64_t end = Now();
  if (status != 0) {
    std::fprintf(stderr, "runner: %s of %s fails\n", command.name.c_str(), command.job.c_str());
    std::exit(1);
  }
  return {end - start, usage.ru_maxrss};
}

// Runs each command once, in the given order; their costs in the order of the plan.
std::vector<Cost> RunRound(const std::vector<Command>& plan,
                           const std::vector<std::size_t>& order) {
  std::vector<Cost> costs(plan.size());
  for (const std::size_t i : order) {
    costs[i] = Run(plan[i]);
  }
  return costs;
}

void Print(const std::vector<Command>& plan, int round, const std::vector<Cost>& costs) {
  for (std::size_t i = 0; i < plan.size(); ++i) {
    std::printf("%s\t%s\t%d\t%jd\t%ld\n", plan[i].job.c_str(), plan[i].name.c_str(), round,
                static_cast<std::intmax_t>(costs[i].nanoseconds), costs[i].peakKiB);
  }
  std::fflush(stdout);
}

}  // namespace

int main(int argc, char* argv[]) {
  const int rounds = argc == 2 ? std::atoi(argv[1]) : 0;
  const std::vector<Command> plan = ReadPlan();
  std::vector<std::size_t> order(plan.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::minstd_rand random;

  RunRound(plan, order);  // a first time is another
  for (int round = 1; round <= rounds; ++round) {
    std::shuffle(order.begin(), order.end(), random);
    Print(plan, round, RunRound(plan, order));
  }
}
