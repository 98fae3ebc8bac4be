// Tables of runs of the built program against a real name server.

#pragma once

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "tests/support/RealNameServer.h"

struct Row {
  const char* name;
  std::vector<std::string> arguments;
  std::string log;     // the lines that are printed and kept in the log file
  std::string result;  // what is printed behind them: the verdict or the report
};

using ServerAndRow = std::tuple<Server, Row>;

class ServerTableTest : public testing::TestWithParam<ServerAndRow> {
 protected:
  // Runs the program as the row says; that is all that it prints, and it ends with status 0.
  static void ExpectRow();
};

template <typename Rows>
auto RowsAgainst(Server server, const Rows& rows) {
  return testing::Combine(testing::Values(server), testing::ValuesIn(rows));
}

std::string RowName(const testing::TestParamInfo<ServerAndRow>& info);

// The lines with which each check begins.
std::string Begin(const std::string& ip, const std::string& sender, const std::string& domain,
                  const std::string& record);

// The report of a domain with these records.
std::string Report(const std::string& domain, const std::vector<std::string>& addresses,
                   const std::vector<std::string>& nameServers,
                   const std::vector<std::string>& texts);
