// The fixture of tests with a PolicyServer in their own process, which asks the name server at
// 127.0.0.1.

#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <vector>

#include "framework/dns/NameServer.h"
#include "programs/spf-policyd/ListenAddress.h"
#include "programs/spf-policyd/PolicyServer.h"
#include "tests/spf_policyd/DecisionSettings.h"
#include "tests/support/CapturedOutput.h"

class ServerTest : public testing::Test {
 protected:
  ServerTest() {
    DoNotLog();
    dns_servers = "127.0.0.1";
  }

  // Starts a server of at most so many connections.
  void Start(std::size_t connections, const Settings& settings = MakeSettings()) {
    m_server =
        std::make_unique<PolicyServer>(std::vector<int>{ListenAddress("127.0.0.1:10040").Open()},
                                       connections, std::make_shared<const Settings>(settings));
  }

  PolicyServer& Server() { return *m_server; }

  void Stop() { m_server.reset(); }

 private:
  std::unique_ptr<PolicyServer> m_server;
};
