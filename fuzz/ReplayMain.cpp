// Runs a target once over each input given, in builds without a fuzzer, and prints what it cost:
//   replay_TARGET PATH... [--optional PATH...]
// A PATH is an input or a folder of inputs. Only those after --optional may be missing or empty.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <vector>

#include "fuzz/Budget.h"

namespace fs = std::filesystem;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

std::vector<fs::path> InputsOf(const fs::path& path) {
  if (!fs::is_directory(path)) {
    return fs::exists(path) ? std::vector{path} : std::vector<fs::path>{};
  }
  std::vector<fs::path> inputs{fs::directory_iterator(path), {}};
  std::sort(inputs.begin(), inputs.end());
  return inputs;
}

void Replay(const fs::path& input) {
  std::ifstream file(input, std::ios::binary);
  const std::vector<char> content{std::istreambuf_iterator<char>(file), {}};
  std::printf("%s: ", input.filename().c_str());
  std::fflush(stdout);
  LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(content.data()), content.size());
  const Budget::Cost cost = Budget::GetLastCost();
  std::printf("%zu bytes, %llu us, %llu bytes allocated\n", content.size(),
              static_cast<unsigned long long>(cost.microseconds),
              static_cast<unsigned long long>(cost.bytes));
}

}  // namespace

int main(int argc, char* argv[]) {
  bool optional = false;
  for (int i = 1; i < argc; ++i) {
    if (std::string_view(argv[i]) == "--optional") {
      optional = true;
      continue;
    }
    const std::vector<fs::path> inputs = InputsOf(argv[i]);
    if (inputs.empty() && !optional) {
      std::fprintf(stderr, "no input: %s\n", argv[i]);
      return 1;
    }
    std::for_each(inputs.begin(), inputs.end(), Replay);
  }
  return argc > 1 ? 0 : 1;
}
