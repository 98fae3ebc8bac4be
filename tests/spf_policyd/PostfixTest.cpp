// A real Postfix that asks the service about its mail.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/spf_policyd/ExampleMail.h"
#include "tests/spf_policyd/RunningPostfix.h"
#include "tests/spf_policyd/RunningService.h"

namespace {

const std::string kHeader = "\nX-SPF-Check: ";

// Returns the headers that tell a verdict, from the top of a mail.
std::vector<std::string> HeadersOf(const std::string& mail) {
  std::vector<std::string> headers;
  for (std::size_t at = 0; (at = mail.find(kHeader, at)) != std::string::npos; ++at) {
    const std::size_t begin = at + kHeader.size();
    headers.push_back(mail.substr(begin, mail.find('\n', begin) - begin));
  }
  return headers;
}

class PostfixTest : public testing::Test {
 protected:
  ~PostfixTest() override {
    if (HasFailure()) {
      ADD_FAILURE() << m_postfix.Log();
    }
  }

  RunningService& Service() { return m_service; }
  const RunningPostfix& Postfix() const { return m_postfix; }

 private:
  ScriptedNameServer m_names{ScriptedNameServer::Zone{
      {"TXT example.org", {"v=spf1 ip4:192.0.2.0/24 -all"}}, {"TXT mx.test", {"v=spf1 mx -all"}}}};
  RunningService m_service{"trial=0\nrefuse=example.org\n"};
  RunningPostfix m_postfix;
};

}  // namespace

TEST_F(PostfixTest, OnlyOwnNetworksRelayAndTheirMailIsNotChecked) {
  EXPECT_TRUE(SendMail("127.0.0.1", "a@example.org", {"b@elsewhere.test"})
                  .starts_with("250 2.0.0 Ok: queued as "));
  EXPECT_EQ(SendMail(kGood, "a@example.org", {"b@elsewhere.test"}),
            "554 5.7.1 <b@elsewhere.test>: Relay access denied");
  EXPECT_EQ(Service().Files().Count("client="), 0U);
}

TEST_F(PostfixTest, MailWithoutAVerdictArrivesWithAHeader) {
  EXPECT_TRUE(
      SendMail(kBad, "a@mx.test", {"jane@mail.test"}).starts_with("250 2.0.0 Ok: queued as "));
  const std::vector<std::string> mails = Postfix().MailsOf("jane", 1);
  ASSERT_EQ(mails.size(), 1U);
  EXPECT_EQ(HeadersOf(mails[0]),
            std::vector<std::string>{"mail.test; no verdict; client=198.51.100.7; domain=mx.test; "
                                     "mx of mx.test is not evaluated"});
}

TEST_F(PostfixTest, ForgedMailIsRefusedForEachRecipient) {
  for (const char* const recipient : {"jane@mail.test", "joe@mail.test"}) {
    EXPECT_EQ(SendMail(kBad, "a@example.org", {recipient}),
              std::string("550 5.7.23 <") + recipient +
                  ">: Recipient address rejected: 198.51.100.7 may not send mail for example.org: "
                  "the SPF record of example.org does not name this address");
  }
  EXPECT_EQ(SendMail(kGood, "a@example.org", {"jane@mail.test"}).substr(0, 3), "250");
  EXPECT_EQ(Postfix().MailsOf("jane", 1).size(), 1U);
  EXPECT_EQ(Postfix().MailsOf("joe").size(), 0U);
}

TEST_F(PostfixTest, AMessageWithTwoRecipientsHasOneHeader) {
  EXPECT_EQ(SendMail(kGood, "a@example.org", {"jane@mail.test", "joe@mail.test"}).substr(0, 3),
            "250");
  for (const char* const user : {"jane", "joe"}) {
    const std::vector<std::string> mails = Postfix().MailsOf(user, 1);
    ASSERT_EQ(mails.size(), 1U);
    EXPECT_EQ(HeadersOf(mails[0]),
              std::vector<std::string>{"mail.test; passed; client=192.0.2.7; domain=example.org; "
                                       "ip4:192.0.2.0/24 of example.org matches"});
  }
}

TEST_F(PostfixTest, TheTopmostHeaderIsTheServicesOwn) {
  SendMail(kBad, "a@mx.test", {"jane@mail.test"}, "X-SPF-Check: mail.test; passed; forged\r\n");
  const std::vector<std::string> mails = Postfix().MailsOf("jane", 1);
  ASSERT_EQ(mails.size(), 1U);
  const std::vector<std::string> headers = HeadersOf(mails[0]);
  ASSERT_EQ(headers.size(), 2U);
  EXPECT_TRUE(headers[0].starts_with("mail.test; no verdict; "));
  EXPECT_EQ(headers[1], "mail.test; passed; forged");
}

TEST_F(PostfixTest, WithoutTheServiceMailArrivesWithoutAHeader) {
  EXPECT_EQ(SendMail(kGood, "a@example.org", {"jane@mail.test"}).substr(0, 3), "250");
  Service().ExpectGoodEnd();
  EXPECT_EQ(SendMail(kBad, "a@example.org", {"jane@mail.test"}).substr(0, 3), "250");
  const std::vector<std::string> mails = Postfix().MailsOf("jane", 2);
  ASSERT_EQ(mails.size(), 2U);
  EXPECT_EQ(HeadersOf(mails[0]).size(), 1U);
  EXPECT_EQ(HeadersOf(mails[1]).size(), 0U);
}
