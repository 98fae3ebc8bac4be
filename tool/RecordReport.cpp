#include "tool/RecordReport.h"

#include <cstdio>
#include <vector>

#include "framework/dns/DNSSocket.h"

namespace {

void PrintHeader(const char* type) {
  std::printf("%s records : \n", type);
  std::fflush(stdout);
}

void PrintEntries(const std::vector<std::string>& entries) {
  for (const std::string& entry : entries) {
    std::printf("\t%s\n", entry.c_str());
  }
}

}  // namespace

void PrintRecordReport(const std::string& domain) {
  std::printf("Domain : %s\n", domain.c_str());
  DNSSocket dns(domain);
  std::vector<std::string> entries;

  PrintHeader("A");
  dns.GetARecords(entries);
  PrintEntries(entries);

  PrintHeader("MX");

  PrintHeader("NS");
  entries.clear();
  dns.GetNSRecords(entries);
  PrintEntries(entries);

  PrintHeader("TXT");
  entries.clear();
  dns.GetTXTRecords(entries);
  PrintEntries(entries);
}
