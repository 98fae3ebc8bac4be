// The system's resolver, with the answers that a test gives it.

#pragma once

#include <netdb.h>

#include <optional>
#include <string>
#include <vector>

// While one exists it answers each getaddrinfo() of this program and notes the questions and the
// released lists. One at a time.
class ScriptedResolver {
 public:
  ScriptedResolver();
  ~ScriptedResolver();

  ScriptedResolver(const ScriptedResolver&) = delete;
  ScriptedResolver& operator=(const ScriptedResolver&) = delete;

  struct Question {
    std::optional<std::string> node;
    std::optional<std::string> service;
    std::optional<addrinfo> hints;
  };

  int result = 0;
  int errorNumber = 0;       // errno afterwards
  addrinfo* list = nullptr;  // the answer
  std::vector<Question> questions;
  std::vector<addrinfo*> freed;
};
