// Checks the lines "domain,ip,sender" of a file with the library alone:
//   library_loop THREADS FILE
//
// Prints how many lines passed.

#include <atomic>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "framework/logging/Logger.h"
#include "tool/SPFCheck.h"

namespace {

struct Line {
  std::string domain;
  std::string address;
  std::string sender;
};

std::vector<Line> ReadLines(const char* path) {
  std::ifstream file(path);
  std::vector<Line> lines;
  Line line;
  while (std::getline(file, line.domain, ',') && std::getline(file, line.address, ',') &&
         std::getline(file, line.sender)) {
    lines.push_back(line);
  }
  return lines;
}

// Checks lines that no other thread has taken, until there are no more.
void CheckLines(const std::vector<Line>& lines, std::atomic<std::size_t>& next,
                std::atomic<std::size_t>& passed) {
  for (std::size_t i = next++; i < lines.size(); i = next++) {
    const Line& line = lines[i];
    passed += SPFCheck(line.address, line.sender, line.domain, 0, "").getResult() ? 1 : 0;
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  if (argc != 3) {
    std::fprintf(stderr, "Usage: %s THREADS FILE\n", argv[0]);
    return 2;
  }
  fwk::Logger::Init("", fwk::Error + 1, false, false);  // no log
  const std::vector<Line> lines = ReadLines(argv[2]);
  std::atomic<std::size_t> next = 0;
  std::atomic<std::size_t> passed = 0;
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < std::atoi(argv[1]); ++i) {
      threads.emplace_back([&] { CheckLines(lines, next, passed); });
    }
  }
  std::printf("%zu passed\n", passed.load());
}
