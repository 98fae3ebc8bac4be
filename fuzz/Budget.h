// Budget limits the cost of one input: the CPU time of the thread, which does not depend on other
// work of the machine, and all bytes allocated, even if they are freed. An input that exceeds its
// budget ends the process at once with a text on standard error, even in an endless loop; the
// thread sanitizer delays this to the next call of the C library.
//
// One budget may exist at a time; it counts for the thread that made it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

class Budget {
 public:
  // The most that an input may cost: a constant, and a part for each of its bytes.
  struct Limits {
    std::uint64_t microseconds = 0;
    std::uint64_t microsecondsPerByte = 0;
    std::uint64_t bytes = 0;
    std::uint64_t bytesPerByte = 0;
  };

  struct Cost {
    std::uint64_t microseconds = 0;
    std::uint64_t bytes = 0;
  };

  Budget(const Limits& limits, std::size_t inputSize);
  ~Budget();

  Budget(const Budget&) = delete;
  Budget& operator=(const Budget&) = delete;

  // Returns the cost of the input of the last budget.
  static Cost GetLastCost();

 private:
  timer_t m_timer;
};
