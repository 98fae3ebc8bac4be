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
  std::string result;  // printed after them: the verdict or the report
};

using ServerAndRow = std::tuple<Server, Row>;

class ServerTableTest : public testing::TestWithParam<ServerAndRow> {
 protected:
  // Expects that the program prints what the row says and nothing else, and ends with status 0.
  static void ExpectRow();
};

template <typename Rows>
auto RowsAgainst(Server server, const Rows& rows) {
  return testing::Combine(testing::Values(server), testing::ValuesIn(rows));
}

std::string RowName(const testing::TestParamInfo<ServerAndRow>& info);

// Returns the lines with which each check begins.
std::string Begin(const std::string& ip, const std::string& sender, const std::string& domain,
                  const std::string& record);

// Returns the report of a domain with these records.
std::string Report(const std::string& domain, const std::vector<std::string>& addresses,
                   const std::vector<std::string>& nameServers,
                   const std::vector<std::string>& texts);
