// The built program where it may open few descriptors.

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <memory>
#include <vector>

#include "tests/policy_server/PolicyClient.h"
#include "tests/policy_server/RunningServer.h"

namespace {

// Few descriptors for what is started while it exists.
class FewDescriptors {
 public:
  FewDescriptors() {
    getrlimit(RLIMIT_NOFILE, &m_before);
    const rlimit few{20, m_before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &few);
  }
  ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &m_before); }

  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

 private:
  rlimit m_before{};
};

std::unique_ptr<RunningServer> StartWithFewDescriptors() {
  const FewDescriptors few;
  return std::make_unique<RunningServer>();
}

}  // namespace

TEST(PolicyServerDescriptorTest, ConnectionsWithoutADescriptorWaitForOne) {
  const std::unique_ptr<RunningServer> server = StartWithFewDescriptors();
  std::vector<std::unique_ptr<PolicyClient>> clients;
  for (int i = 0; i < 20; ++i) {
    clients.push_back(std::make_unique<PolicyClient>(RunningServer::kPort));
    clients.back()->Write(Request("2001:db8::1", "a@example.org"));
  }
  EXPECT_TRUE(clients.front()->HasAnswer(10000));
  EXPECT_FALSE(clients.back()->HasAnswer(500));
  for (const auto& client : clients) {
    EXPECT_EQ(client->ReadAnswer(), "action=DUNNO\n\n");
    client->EndWriting();
  }
  EXPECT_EQ(server->Stop().exitStatus, 0);
}
