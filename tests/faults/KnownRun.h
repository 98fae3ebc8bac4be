// A check that passes by its record, and what it and its failures print.

#pragma once

#include <string>
#include <vector>

inline const std::string kRecord = "v=spf1 ip4:192.0.2.0/24 -all";

// With the record given nothing is asked; without it one question is.
inline const std::vector<std::string> kGivenRecord = {"example.org", "192.0.2.7", "", kRecord};
inline const std::vector<std::string> kPublishedRecord = {"example.org", "192.0.2.7"};

inline const std::string kBegin =
    "Debug: SPFCheck::SPFCheck ip(192.0.2.7), smtpFrom(), domain(example.org)\n";
inline const std::string kLog = kBegin +
                                "Debug: SPFCheck::SPFCheck spf record = v=spf1 "
                                "ip4:192.0.2.0/24 -all\n"
                                "Debug: SPFCheck::processIP4 - domain::192.0.2.0/24\n";
inline const std::string kOutput = kLog + "SPFCheck::passed \n";

// What a check logs whose look-up failed with line.
inline std::string LogOfFailure(const std::string& line) {
  return kBegin + line + "Debug: SPFCheck::SPFCheck spf record = \n";
}

inline const std::string kTimedOut =
    "Debug: DNSSocket::DoQuery - UDPSocketTimeoutException - UDPSocket::SelectReadWrite - timed "
    "out (5000) while reading from the socket on () :: failed with code 110: Connection timed "
    "out\n";

// The line of a query that could not be sent; error: number and text.
inline std::string NotSent(const std::string& error) {
  return "Error: DNSSocket::DoQuery - StdException - UDPSocket::CheckSocketStatus - error writing "
         "from the socket [] :: failed with code " +
         error + "\n";
}
