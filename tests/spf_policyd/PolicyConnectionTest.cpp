// PolicyConnection: how it separates requests, and what ends a connection.

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

#include <memory>
#include <string>

#include "programs/spf-policyd/ListenAddress.h"
#include "programs/spf-policyd/PolicyConnection.h"
#include "tests/spf_policyd/PolicyClient.h"
#include "tests/support/CapturedOutput.h"

namespace {

// A connection with its client.
class Pair {
 public:
  Pair() {
    DoNotLog();
    const int listener = ListenAddress("127.0.0.1:10040").Open();
    m_client = std::make_unique<PolicyClient>();
    EXPECT_TRUE(m_connection.Accept(listener));
    EXPECT_FALSE(PolicyConnection().Accept(listener)) << "as nobody else waits";
    close(listener);
  }

  PolicyClient& Client() { return *m_client; }
  PolicyConnection& Connection() { return m_connection; }
  void Leave() { m_client.reset(); }

  // Lets the connection read, and answer each request with the value of "name".
  bool Serve() {
    pollfd event{m_connection.GetDescriptor(), POLLIN, 0};
    EXPECT_EQ(poll(&event, 1, 10000), 1);
    return m_connection.Serve([](const PolicyRequest& request, PolicyConnection& connection) {
      return connection.Send(request.Get("name"));
    });
  }

  // Writes `text` first.
  bool Serve(const std::string& text) {
    EXPECT_TRUE(m_client->Write(text));
    return Serve();
  }

 private:
  PolicyConnection m_connection;
  std::unique_ptr<PolicyClient> m_client;
};

}  // namespace

TEST(PolicyConnectionTest, ItsDescriptorIsAboveThoseOfLookUps) {
  Pair pair;
  EXPECT_GE(pair.Connection().GetDescriptor(), FD_SETSIZE);
}

TEST(PolicyConnectionTest, RequestsMayArriveInPiecesAndTogether) {
  Pair pair;
  for (const char* const piece :
       {"n", "ame=on", "e\n", "\nname=two\n\nname=three\n\nna", "me=four"}) {
    EXPECT_TRUE(pair.Serve(piece));
  }
  EXPECT_EQ(pair.Client().ReadAction(), "one");
  EXPECT_EQ(pair.Client().ReadAction(), "two");
  EXPECT_EQ(pair.Client().ReadAction(), "three");
  EXPECT_FALSE(pair.Client().HasAnswer(50));
  EXPECT_TRUE(pair.Serve("\n\n"));
  EXPECT_EQ(pair.Client().ReadAction(), "four");
}

TEST(PolicyConnectionTest, AMalformedRequestEndsIt) {
  Pair pair;
  EXPECT_FALSE(pair.Serve("name=one\n\nno equals sign\n"));
  EXPECT_EQ(pair.Client().ReadAction(), "one");
}

TEST(PolicyConnectionTest, APeerThatClosesEndsIt) {
  Pair pair;
  pair.Leave();
  EXPECT_FALSE(pair.Serve());
}

TEST(PolicyConnectionTest, APeerThatWritesNoMoreEndsIt) {
  Pair pair;
  EXPECT_TRUE(pair.Client().Write("name=one\n\n"));
  pair.Client().EndWriting();
  EXPECT_FALSE(pair.Serve()) << "as nobody waits for the answer";
}

TEST(PolicyConnectionTest, APeerThatDoesNotReadEndsIt) {
  Pair pair;
  int answers = 0;
  while (answers < 1000000 && pair.Connection().Send(std::string(500, 'x'))) {
    ++answers;
  }
  EXPECT_GT(answers, 10);
  EXPECT_LT(answers, 1000000);
}

TEST(PolicyConnectionTest, ItKnowsTheTimeOfItsLastAnswer) {
  Pair pair;
  const auto start = pair.Connection().GetLastAnswer();
  EXPECT_LE(start, PolicyConnection::Clock::now());
  EXPECT_TRUE(pair.Serve("name=one\n"));
  EXPECT_EQ(pair.Connection().GetLastAnswer(), start) << "after a part of a request";
  EXPECT_TRUE(pair.Serve("\n"));
  EXPECT_GT(pair.Connection().GetLastAnswer(), start);
}
