// The fixture of tests that decide in their own process: it logs nothing, and asks the name server
// at 127.0.0.1.

#pragma once

#include <gtest/gtest.h>

#include <string>

#include "framework/dns/NameServer.h"
#include "programs/spf-policyd/PolicyDecision.h"
#include "tests/spf_policyd/DecisionSettings.h"
#include "tests/support/CapturedOutput.h"

class DecisionTest : public testing::Test {
 protected:
  DecisionTest() {
    DoNotLog();
    dns_servers = "127.0.0.1";
  }
  ~DecisionTest() noexcept override {}  // locks throw

  // Decides on a request as the server does. Returns the answer.
  std::string Answer(const std::string& text, bool isDelivered = true) {
    PolicyRequest request;
    for (const char byte : text) {
      request.Take(byte);
    }
    PolicyDecision decision(request, m_settings, m_places, m_memory, m_connection);
    decision.Conclude(isDelivered);
    return decision.GetAnswer();
  }

  Settings m_settings = MakeSettings();
  Places m_places{100};
  MessageMemory m_memory;
  int m_connection = -1;
};
