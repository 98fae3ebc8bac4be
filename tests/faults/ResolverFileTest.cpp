// What stands at /etc/resolv.conf, or does not.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "tests/faults/KnownRun.h"
#include "tests/faults/NetworkChange.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/OwnMount.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

constexpr char kPath[] = "/etc/resolv.conf";
constexpr std::size_t kMegabyte = 1024 * 1024;

// The check by a record that only the server at address holds.
void ExpectServer(const std::string& address, const std::string& command = "exec \"$@\"") {
  const ScriptedNameServer server(address,
                                  {{"TXT example.org", std::chrono::milliseconds(0), kRecord}});
  ToolProcess(kPublishedRecord, command)
      .ExpectEnd({.standardOutput = kOutput, .standardError = "", .log = kLog});
}

// Each test makes the file, or whatever is to stand in its place, in an empty /etc. The built-in
// server is one of this machine's.
class ResolverFileTest : public testing::Test {
 protected:
  static void Write(const std::string& content) {
    std::ofstream(kPath, std::ios::binary) << content;
  }

 private:
  OwnMount m_etc{"/etc"};
  LoopbackAddress m_builtIn{"9.9.9.9"};
};

std::string Repeated(const std::string& text, std::size_t size) {
  std::string result;
  while (result.size() < size) {
    result += text;
  }
  return result;
}

}  // namespace

TEST_F(ResolverFileTest, WhenItIsMissingTheBuiltInServerIsAsked) {
  ExpectServer("9.9.9.9");
}

TEST_F(ResolverFileTest, WhenItIsADirectoryTheBuiltInServerIsAsked) {
  std::filesystem::create_directory(kPath);
  ExpectServer("9.9.9.9");
}

TEST_F(ResolverFileTest, WhenItIsALinkToItselfTheBuiltInServerIsAsked) {
  std::filesystem::create_symlink("resolv.conf", kPath);
  ExpectServer("9.9.9.9");
}

TEST_F(ResolverFileTest, WhenReadingIsForbiddenTheBuiltInServerIsAsked) {
  Write("nameserver 127.0.0.1\n");
  std::filesystem::permissions(kPath, std::filesystem::perms::none);
  // Without this capability permissions count for root, too.
  ExpectServer("9.9.9.9", "exec setpriv --bounding-set=-dac_override,-dac_read_search \"$@\"");
}

TEST_F(ResolverFileTest, TheServerInTheLastOfAMegabyteOfLinesIsAsked) {
  Write(Repeated("nameserver 192.0.2.53\n# comment\nsearch test\n\n", kMegabyte) +
        "nameserver 127.0.0.1\n");
  ExpectServer("127.0.0.1");
}

TEST_F(ResolverFileTest, TheServerInALineOfAMegabyteIsAsked) {
  Write("nameserver 127.0.0.1 " + std::string(kMegabyte, 'x') + "\n");
  ExpectServer("127.0.0.1");
}

TEST_F(ResolverFileTest, ALineOfAMegabyteIsOneLineWhateverItHolds) {
  std::string line = Repeated("nameserver 192.0.2.53 xxxxxxxxxx", kMegabyte);  // 32 characters
  line.front() = '#';
  Write("nameserver 127.0.0.1\n" + line);
  ExpectServer("127.0.0.1");
}

TEST_F(ResolverFileTest, AServerIsReadUpToAZeroByteAndZeroBytesElsewhereAreNotServers) {
  using namespace std::string_literals;
  Write("\0nameserver 192.0.2.1\nnameserver 127.0.0.1\0\0.5\n\0\0\nname\0server 192.0.2.2\n"s);
  ExpectServer("127.0.0.1");
}

TEST_F(ResolverFileTest, AMegabyteOfZeroBytesNamesNoServer) {
  Write(std::string(kMegabyte, '\0'));
  ExpectServer("9.9.9.9");
}
