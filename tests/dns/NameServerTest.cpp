#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <thread>
#include <vector>

#include "framework/config/Config.h"
#include "framework/core/Exceptions.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "tests/support/FailingFile.h"
#include "tests/support/FailureText.h"
#include "tests/support/OpenDescriptors.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/TemporaryDirectory.h"

using namespace std::string_literals;

namespace {

std::string ReadFrom(const std::string& content) {
  const TemporaryDirectory directory;
  directory.Write("resolv.conf", content);
  return ReadNameServer(directory.Path("resolv.conf"));
}

struct Row {
  std::string content;
  std::string address;
};

void ExpectAddresses(const std::vector<Row>& rows) {
  for (const Row& row : rows) {
    EXPECT_EQ(ReadFrom(row.content), row.address) << row.content;
  }
}

// Starts without a name server and without a configuration.
class NameServerLoadTest : public testing::Test {
 protected:
  NameServerLoadTest() {
    dns_servers.clear();
    Config::m_config.clear();
  }

  ~NameServerLoadTest() override { Config::m_config.clear(); }

  static void Configure(const std::string& content) {
    const TemporaryDirectory directory;
    directory.Write("test.conf", content);
    Config::Load(directory.Path("test.conf"), "");
  }
};

}  // namespace

TEST(NameServerTest, TheWordAfterNameserverIsTheAddress) {
  EXPECT_EQ(ReadFrom("nameserver 10.0.0.1\n"), "10.0.0.1");
}

TEST(NameServerTest, TheLastNameserverLineWins) {
  EXPECT_EQ(ReadFrom("nameserver 10.0.0.1\nnameserver 10.0.0.2\n"), "10.0.0.2");
  EXPECT_EQ(ReadFrom("nameserver 10.0.0.1\nnameserver 10.0.0.2\nnameserver 10.0.0.3\n#\n\nx y\n"),
            "10.0.0.3");
}

TEST(NameServerTest, TheLastLineNeedsNoLineFeed) {
  EXPECT_EQ(ReadFrom("search test\nnameserver 10.0.0.1"), "10.0.0.1");
}

TEST(NameServerTest, LinesWithAnotherFirstWordAreIgnored) {
  ExpectAddresses({
      {"", ""},
      {"\n\n\n", ""},
      {"search nameserver 10.0.0.1\n", ""},
      {"domain test\noptions nameserver\n", ""},
      {"nameservers 10.0.0.1\n", ""},
      {"xnameserver 10.0.0.1\n", ""},
      {"name server 10.0.0.1\n", ""},
      {"Nameserver 10.0.0.1\n", ""},
      {"NAMESERVER 10.0.0.1\n", ""},
      {"; nameserver 10.0.0.1\n", ""},
      {";nameserver 10.0.0.1\n", ""},
      {"nameserver 10.0.0.1\nsearch test\n", "10.0.0.1"},
  });
}

TEST(NameServerTest, ACommentMarkCountsOnlyInTheFirstColumn) {
  ExpectAddresses({
      {"#nameserver 10.0.0.1\n", ""},
      {"# nameserver 10.0.0.1\n", ""},
      {"# x\nnameserver 10.0.0.1\n# nameserver 10.0.0.2\n", "10.0.0.1"},
      {" #nameserver 10.0.0.1\n", ""},  // its first word counts, not the mark
      {"nameserver #10.0.0.1\n", "#10.0.0.1"},
      {"nameserver 10.0.0.1 # comment\n", "10.0.0.1"},
      {"nameserver 10.0.0.1#comment\n", "10.0.0.1#comment"},
  });
}

TEST(NameServerTest, WordsEndAtABlankNotAtATab) {
  ExpectAddresses({
      {"nameserver\t10.0.0.1\n", ""},
      {"nameserver \t10.0.0.1\n", "10.0.0.1"},
      {"nameserver\t 10.0.0.1\n", "10.0.0.1"},
      {"nameserver 10.0.0.1\t\n", "10.0.0.1"},
      {"nameserver 10.0.0.1\tx\n", "10.0.0.1\tx"},
      {"nameserver 10.0.0.1\v\n", "10.0.0.1\v"},
      {"\tnameserver 10.0.0.1\n", "10.0.0.1"},
      {"nameserver 10.0.0.1 10.0.0.2\n", "10.0.0.1"},
      {"nameserver 10.0.0.1 \n", "10.0.0.1"},
  });
}

TEST(NameServerTest, OneExtraBlankIsIgnoredAndTwoMakeAnEmptyWord) {
  ExpectAddresses({
      {"nameserver  10.0.0.1\n", "10.0.0.1"},
      {"nameserver   10.0.0.1\n", ""},
      {" nameserver 10.0.0.1\n", "10.0.0.1"},
      {"  nameserver 10.0.0.1\n", ""},
      {"nameserver 10.0.0.1\nnameserver   10.0.0.2\n", ""},
  });
}

TEST(NameServerTest, CarriageReturnsAreTrimmed) {
  EXPECT_EQ(ReadFrom("nameserver 10.0.0.1\r\nsearch test\r\n"), "10.0.0.1");
  EXPECT_EQ(ReadFrom("nameserver 10.0.0.1\nnameserver\r\n"), "");
}

TEST(NameServerTest, ALineWithoutAnAddressGivesAnEmptyOne) {
  ExpectAddresses({
      {"nameserver\n", ""},
      {"nameserver \n", ""},
      {"nameserver 10.0.0.1\nnameserver\n", ""},
      {"nameserver 10.0.0.1\nnameserver \n", ""},
      {"nameserver\nnameserver 10.0.0.2\n", "10.0.0.2"},
  });
}

TEST(NameServerTest, TheAddressIsNotChecked) {
  EXPECT_EQ(ReadFrom("nameserver host.test\n"), "host.test");
  EXPECT_EQ(ReadFrom("nameserver 2001:db8::1\n"), "2001:db8::1");
  EXPECT_EQ(ReadFrom("nameserver 999.0.0.1\n"), "999.0.0.1");
}

TEST(NameServerTest, WordsEndAtAZeroByte) {
  EXPECT_EQ(ReadFrom("nameserver 10.0.0.1\0.2\n"s), "10.0.0.1");
  EXPECT_EQ(ReadFrom("nameserver\0xyz 10.0.0.1\n"s), "10.0.0.1");
  EXPECT_EQ(ReadFrom("\0nameserver 10.0.0.1\n"s), "");
  EXPECT_EQ(ReadFrom("nameserver \0 10.0.0.1\n"s), "");
}

TEST(NameServerTest, TheRestOfALongLineIsNotAnotherLine) {
  const std::string comment(1023, 'x');
  for (const char* first : {"#", "x", "x "}) {
    EXPECT_EQ(ReadFrom(first + comment + "nameserver 10.0.0.1\nnameserver 10.0.0.2"), "10.0.0.2");
    EXPECT_EQ(ReadFrom("nameserver 10.0.0.2\n" + (first + comment) + "nameserver 10.0.0.1\n"),
              "10.0.0.2");
  }
}

TEST(NameServerTest, AFileThatCannotBeReadNamesNoServer) {
  const TemporaryDirectory directory;
  EXPECT_EQ(ReadNameServer(directory.Path("missing")), "");
  EXPECT_EQ(ReadNameServer(directory.Path("missing/resolv.conf")), "");
  EXPECT_EQ(ReadNameServer(directory.Path()), "");
  EXPECT_EQ(ReadNameServer(""), "");
  EXPECT_EQ(ReadNameServer("/dev/null"), "");
}

TEST(NameServerTest, ALineWhoseReadFailsNamesNoServer) {
  const FailingFile file("nameserver 10.0.0.1\nnameserver 10.0.0.2");
  EXPECT_EQ(ReadNameServer(file.Path()), "10.0.0.1");
}

TEST_F(NameServerLoadTest, TheFirstObjectTakesTheLastServerOfTheResolverFile) {
  SetResolverFile("nameserver 10.0.0.1\nnameserver 10.0.0.2\n");
  Configure("dns_server=192.0.2.53\n");
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "10.0.0.2");
}

TEST_F(NameServerLoadTest, ASecondObjectDoesNotReadTheFileAgain) {
  SetResolverFile("nameserver 10.0.0.1\n");
  const DNSSocket first("example.org");
  SetResolverFile("nameserver 10.0.0.2\n");
  const DNSSocket second("example.org");
  EXPECT_EQ(dns_servers, "10.0.0.1");
}

// Each of them read the file, and one could set the server while another used it.
TEST_F(NameServerLoadTest, OneOfSeveralFirstObjectsReadsTheFileWhileTheOthersWait) {
  static const TemporaryDirectory directory;  // the mount of the pipe outlives this test
  ASSERT_EQ(mkfifo(directory.Path("pipe").c_str(), 0600), 0);
  MountResolverFile(directory.Path("pipe"));
  const std::ptrdiff_t before = OpenDescriptors();
  {
    const auto make = [] {
      const DNSSocket dns("example.org");
      EXPECT_EQ(dns_servers, "10.0.0.1");
    };
    const std::jthread first(make);
    const std::jthread second(make);
    const int writer = open(directory.Path("pipe").c_str(), O_WRONLY);  // waits for a reader
    std::this_thread::sleep_for(std::chrono::milliseconds(200));        // for another
    EXPECT_EQ(OpenDescriptors(), before + 2);
    EXPECT_EQ(write(writer, "nameserver 10.0.0.1\n", 20), 20);
    close(writer);
  }
  EXPECT_EQ(dns_servers, "10.0.0.1");
}

TEST_F(NameServerLoadTest, AnEmptiedServerIsLoadedAgain) {
  SetResolverFile("nameserver 10.0.0.1\n");
  const DNSSocket first("example.org");
  SetResolverFile("nameserver 10.0.0.2\n");
  dns_servers.clear();
  const DNSSocket second("example.org");
  EXPECT_EQ(dns_servers, "10.0.0.2");
}

TEST_F(NameServerLoadTest, AServerThatIsSetIsKept) {
  SetResolverFile("nameserver 10.0.0.1\n");
  dns_servers = "192.0.2.1";
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "192.0.2.1");
}

TEST_F(NameServerLoadTest, WithoutAServerInTheFileTheConfigurationDecides) {
  SetResolverFile("search test\n");
  Configure("dns_server = 192.0.2.53\n");  // the key is "dns_server " with a blank
  {
    const DNSSocket dns("example.org");
    EXPECT_EQ(dns_servers, "9.9.9.9");
  }
  dns_servers.clear();
  Configure("dns_server=192.0.2.53\n");
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "192.0.2.53");
}

TEST_F(NameServerLoadTest, AnEmptyAddressInTheFileCountsAsNone) {
  SetResolverFile("nameserver 10.0.0.1\nnameserver\n");
  Configure("dns_server=192.0.2.53\n");
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "192.0.2.53");
}

TEST_F(NameServerLoadTest, TheConfiguredValueIsNotChecked) {
  SetResolverFile("");
  Configure("dns_server=not an address\n");
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "not an address");
}

TEST_F(NameServerLoadTest, AnEmptyConfiguredValueIsNotReplaced) {
  SetResolverFile("");
  Configure("dns_server=\n");
  {
    const DNSSocket dns("example.org");
    EXPECT_EQ(dns_servers, "");
  }
  SetResolverFile("nameserver 10.0.0.1\n");  // still empty, so the next object reads again
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "10.0.0.1");
}

TEST_F(NameServerLoadTest, WithoutFileAndConfigurationThePublicResolverIsUsed) {
  SetResolverFile("search test\n# nameserver 10.0.0.1\n");
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "9.9.9.9");
}

TEST_F(NameServerLoadTest, AResolverFileThatCannotBeOpenedNamesNoServer) {
  static const TemporaryDirectory directory;  // no other file can be mounted over a removed one
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  directory.Path("socket").copy(address.sun_path, sizeof(address.sun_path) - 1);
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM, 0);
  ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
  MountResolverFile(directory.Path("socket"));  // open() of a socket fails
  const DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "9.9.9.9");
  close(descriptor);
}

TEST_F(NameServerLoadTest, ABadAddressThrowsWhenALookUpConnects) {
  SetResolverFile("nameserver 0.0.0.0\n");
  DNSSocket dns("example.org");
  EXPECT_EQ(dns_servers, "0.0.0.0");
  std::vector<std::string> addresses;
  EXPECT_EQ(FailureText<UDPSocketException>([&] { dns.GetARecords(addresses); }),
            "UDPSocket::Connect - inet_addr() failed");
}
