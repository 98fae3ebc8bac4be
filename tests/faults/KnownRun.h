// A check that passes by its record, and what it and its failures print.

#pragma once

#include <string>
#include <vector>

#include "tests/end_to_end/ToolRun.h"

inline const std::string kRecord = "v=spf1 ip4:192.0.2.0/24 -all";

// With the record given nothing is asked; without it one question is.
inline const std::vector<std::string> kGivenRecord = {"example.org", "192.0.2.7", "", kRecord};
inline const std::vector<std::string> kPublishedRecord = {"example.org", "192.0.2.7"};

// Returns what the check of `domain` logs when it begins.
inline std::string Begin(const std::string& domain) {
  return "Debug: SPFCheck::SPFCheck ip(192.0.2.7), smtpFrom(), domain(" + domain + ")\n";
}

// Returns what it logs when it has `record`.
inline std::string Record(const std::string& record) {
  return "Debug: SPFCheck::SPFCheck spf record = " + record + "\n";
}

inline const std::string kMatch = "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n";

inline const std::string kBegin = Begin("example.org");
inline const std::string kLog = kBegin + Record(kRecord) + kMatch;

inline const std::string kTimedOut =
    "Debug: DNSSocket::DoQuery - UDPSocketTimeoutException - UDPSocket::SelectReadWrite - timed "
    "out (5000) while reading from the socket on () :: failed with code 110: Connection timed "
    "out\n";

// Returns a run that prints what it logs, and then the verdict `word`.
inline Expected Verdict(const std::string& log, const std::string& word) {
  return {.standardOutput = log + "SPFCheck::" + word + " \n", .standardError = "", .log = log};
}

inline const Expected kPassed = Verdict(kLog, "passed");
