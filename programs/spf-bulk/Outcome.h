// Outcome is what became of a well-formed line.
//
// A value type; any thread may use the functions. Nothing blocks.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

enum class Verdict : std::uint8_t { kPassed, kFailed, kError };

struct Outcome {
  Verdict verdict = Verdict::kError;
  std::string note;  // what the errors file says of it; empty: nothing
  bool lacksAnswer =
      false;  // a look-up had no full answer, so the verdict may be another one later
};

// Returns what the output has after a line: "passed", "failed" or "error".
std::string_view NameOf(Verdict verdict);

// Returns the verdict of that name, if there is one.
std::optional<Verdict> FindVerdict(std::string_view name);

// What the output has after the header.
inline constexpr std::string_view kVerdictHeader = "verdict";
