#pragma once

#include <string>

// Returns the text of the `Failure` that `call` throws. Other exceptions pass.
template <typename Failure, typename Call>
std::string FailureText(const Call& call) {
  try {
    call();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return "nothing was thrown";
}
