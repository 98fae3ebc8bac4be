// The fixture of tests that run spf-bulk: its name server, and a directory to run it in.

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/spf_bulk/BulkDirectory.h"
#include "tests/spf_bulk/BulkServer.h"
#include "tests/support/Waiting.h"

class BulkRunTest : public testing::Test {
 protected:
  // Expects that a run with `input` on its standard input writes `output` and the errors file.
  void ExpectFiles(const std::string& input, const std::string& output,
                   const std::string& errors = "") const {
    m_directory.Write("in", input);
    EXPECT_EQ(m_directory.Run({}).standardOutput, output);
    EXPECT_EQ(m_directory.Read("spf-bulk.errors"), errors);
  }

  // Waits until the name server was asked about `domain`.
  void WaitForQuestion(const std::string& domain) const {
    EXPECT_TRUE(ComesTrue([&] { return m_server.CountQuestions(domain) > 0; }));
  }

  BulkServer m_server;
  BulkDirectory m_directory;
};
