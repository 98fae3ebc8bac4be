// Random input for a test. Each run prints its seed, each failure how to replay it.

#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <random>
#include <string>

// The same seed gives the same input with each compiler if each draw is a statement of its own:
// compilers evaluate the arguments of a call in different orders.
class Random {
 public:
  // Takes the seed from the environment variable SPFCHECK_SEED, or else a new one.
  Random() : Random(ChooseSeed()) {}

  // Returns a number from `first` to `last`, both included.
  template <typename Number>
  Number Between(Number first, Number last) {
    const auto count = static_cast<std::uint64_t>(last) - static_cast<std::uint64_t>(first) + 1;
    return static_cast<Number>(static_cast<std::uint64_t>(first) + m_engine() % count);
  }

  // Returns true in one of `draws` draws.
  bool OneIn(unsigned int draws) { return Between(1U, draws) == 1; }

  template <typename Container>
  const auto& OneOf(const Container& container) {
    return container[Between(std::size_t{0}, std::size(container) - 1)];
  }

  char Byte() { return static_cast<char>(Between(0, 255)); }

  // Returns up to `longest` characters of `alphabet`.
  std::string Text(const std::string& alphabet, std::size_t longest) {
    std::string text(Between(std::size_t{0}, longest), '\0');
    for (char& c : text) {
      c = OneOf(alphabet);
    }
    return text;
  }

  // Returns `count` bytes of any value.
  std::string Bytes(std::size_t count) {
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
      byte = Byte();
    }
    return bytes;
  }

 private:
  explicit Random(std::uint64_t seed)
      : m_engine(seed),
        m_trace(__FILE__, __LINE__, "replay with SPFCHECK_SEED=" + std::to_string(seed)) {
    std::cout << "seed " << seed << std::endl;  // there even if the test crashes
  }

  static std::uint64_t ChooseSeed() {
    const char* const given = std::getenv("SPFCHECK_SEED");
    return given != nullptr ? std::stoull(given) : std::random_device()();
  }

  std::mt19937_64 m_engine;
  testing::ScopedTrace m_trace;  // shown with each failure
};
