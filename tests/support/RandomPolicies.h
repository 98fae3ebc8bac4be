// A name server with policies of every kind, which also sends malformed replies.

#pragma once

#include <cstdint>
#include <string>

#include "tests/support/ScriptedNameServer.h"

// The number of domains that have policies, which refer to each other.
inline constexpr std::uint32_t kPolicies = 5000;

// Returns the name of a domain, numbered from 0.
std::string NameOfPolicy(std::uint32_t number);

// A script that answers any question, always in the same way; names that begin with "silent" get no
// answer.
Datagrams AnswerAtRandom(const Bytes& query);
