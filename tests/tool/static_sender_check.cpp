// A program with a static SenderCheck, whose header is the only one that it includes. It ends with
// status 0 when the check passed.

#include "tool/SenderCheck.h"

namespace {

const SenderCheck check("192.0.2.1", "example.org", std::nullopt,
                        {.lookUps = 20, .deadline = std::chrono::steady_clock::time_point::max()},
                        nullptr);

}  // namespace

int main() {
  return check.GetVerdict() == SenderCheck::Verdict::kPassed ? 0 : 1;
}
