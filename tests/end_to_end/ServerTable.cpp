#include "tests/end_to_end/ServerTable.h"

#include "tests/end_to_end/ToolRun.h"

namespace {

std::string Indented(const std::vector<std::string>& entries) {
  std::string lines;
  for (const std::string& entry : entries) {
    lines += "\t" + entry + "\n";
  }
  return lines;
}

}  // namespace

void ServerTableTest::ExpectRow() {
  const auto& [server, row] = GetParam();
  const RealNameServer running(server);
  ExpectRun(row.arguments,
            {.standardOutput = row.log + row.result, .standardError = "", .log = row.log});
}

std::string RowName(const testing::TestParamInfo<ServerAndRow>& info) {
  return std::get<Row>(info.param).name;
}

std::string Begin(const std::string& ip, const std::string& sender, const std::string& domain,
                  const std::string& record) {
  return "Debug: SPFCheck::SPFCheck ip(" + ip + "), smtpFrom(" + sender + "), domain(" + domain +
         ")\nDebug: SPFCheck::SPFCheck spf record = " + record + "\n";
}

std::string Report(const std::string& domain, const std::vector<std::string>& addresses,
                   const std::vector<std::string>& nameServers,
                   const std::vector<std::string>& texts) {
  return "Domain : " + domain + "\nA records : \n" + Indented(addresses) +
         "MX records : \nNS records : \n" + Indented(nameServers) + "TXT records : \n" +
         Indented(texts);
}
