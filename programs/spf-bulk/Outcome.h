// Outcome is the result of a well-formed line.
//
// A value type. Any thread may call the functions; nothing blocks.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

enum class Verdict : std::uint8_t { kPassed, kFailed, kError };

struct Outcome {
  Verdict verdict = Verdict::kError;
  std::string note;          // its reason in the errors file; empty: no entry
  bool lacksAnswer = false;  // of a look-up, so that the verdict may be different later
};

// Returns the name of a verdict in the output: "passed", "failed" or "error".
std::string_view NameOf(Verdict verdict);

// Returns the verdict of that name, if there is one.
std::optional<Verdict> FindVerdict(std::string_view name);

// The name of the column of verdicts.
inline constexpr std::string_view kVerdictHeader = "verdict";
