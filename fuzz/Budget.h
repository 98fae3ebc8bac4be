// Budget bounds what one input may cost: CPU time of the thread, so that a busy machine does not
// count, and the bytes allocated in all, those given back included. An input that goes over its
// budget ends the process at once, an endless loop too, with a text on standard error; under the
// thread sanitizer, which holds signals back, not before it calls the C library again.
//
// One budget at a time; it counts for the thread that made it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <ctime>

class Budget {
 public:
  // What an input may cost: a constant, and a part for each of its bytes.
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

  // What the input of the last budget cost.
  static Cost GetLastCost();

 private:
  timer_t m_timer;
};
