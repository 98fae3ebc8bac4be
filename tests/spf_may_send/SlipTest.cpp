// Common mistakes in the arguments, and the advice about them.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Texts = std::vector<std::string>;

// Expects that each of `addresses` is malformed, with `advice`.
void ExpectBadAddress(const Texts& addresses, const std::string& advice,
                      const std::string& sender = "joe@example.org") {
  for (const std::string& address : addresses) {
    SCOPED_TRACE(address);
    ExpectVerdict({address, sender}, kNoVerdict,
                  "no verdict: malformed address: " + address + "; " + advice + "\n");
  }
}

// Expects that `sender`, shown as `shown`, is malformed, with `advice`.
void ExpectBadSender(const std::string& sender, const std::string& shown,
                     const std::string& advice) {
  SCOPED_TRACE(sender);
  ExpectVerdict({"192.0.2.7", sender}, kNoVerdict,
                "no verdict: malformed sender: " + shown + "; " + advice + "\n");
}

}  // namespace

TEST(SlipTest, SwappedArgumentsAreNamed) {
  const std::string advice = "the arguments are swapped: the address is the first one";
  ExpectBadAddress({"joe@example.org"}, advice, "192.0.2.7");
  ExpectBadAddress({"joe@example.org"}, advice, "2001:db8::1");
}

TEST(SlipTest, AnIPv6AddressIsNamed) {
  ExpectBadAddress({"2001:db8::1", "::", "fe80::1"},
                   "IPv6 is not supported: only an IPv4 address can be checked");
}

TEST(SlipTest, AHostNameInsteadOfTheAddressIsNamed) {
  ExpectBadAddress({"mail.example.org"},
                   "it is a host name: write the host's address, as `spfcheck mail.example.org` "
                   "shows it");
}

TEST(SlipTest, ASenderInsteadOfTheAddressIsNamed) {
  ExpectBadAddress({"joe@example.org"},
                   "the first argument is the address of the host that sends, as 192.0.2.7",
                   "example.org");
}

TEST(SlipTest, AnAddressAmongOtherCharactersIsShownAlone) {
  ExpectBadAddress({"[192.0.2.7]", "192.0.2.7:25", "192.0.2.7/24", " 192.0.2.7", "mail[192.0.2.7]",
                    "::ffff:192.0.2.7", "ip4:192.0.2.7"},
                   "write the address alone: 192.0.2.7");
  ExpectBadAddress({"192.0.2.7,192.0.2.8"}, "an IPv4 address, as 192.0.2.7, is wanted");
}

TEST(SlipTest, NumbersThatAreNotAnAddressAreNamed) {
  ExpectBadAddress({"192.0.2.256", "192.0.2.07", "192.0.2", "192.0.2.7.1", "3221225991", "..."},
                   "an IPv4 address is four numbers from 0 to 255 without leading zeros");
}

TEST(SlipTest, AnEmptyArgumentIsNamed) {
  ExpectVerdict({"", "joe@example.org"}, kNoVerdict,
                "no verdict: malformed address: it is empty\n");
  const std::string advice = "it is empty; for a bounce write the name that the host gave in EHLO";
  ExpectVerdict({"192.0.2.7", ""}, kNoVerdict, "no verdict: malformed sender: " + advice + "\n");
  ExpectBadSender("<>", "<>", advice);
}

TEST(SlipTest, AMalformedSenderIsNamed) {
  ExpectBadSender("<joe@example.org> SIZE=1000", "<joe@example.org> SIZE=1000",
                  "write the address alone: <joe@example.org>");
  ExpectBadSender("joe@[192.0.2.7]", "joe@[192.0.2.7]", "an address in brackets has no record");
  ExpectBadSender("joe@b\xc3\xbc.example", "joe@b\\303\\274.example",
                  "write the domain in its xn-- form");
  for (const std::string sender : {"joe@example..org", "joe@"}) {
    ExpectBadSender(
        sender, sender,
        "a domain has labels of 1 to 63 letters, digits, - and _ with dots between them");
  }
}

TEST(SlipTest, TwoAddressesAreNamed) {
  const ScriptedNameServer server(ScriptedNameServer::Zone{});
  ExpectVerdict({"-s", "127.0.0.1", "192.0.2.7", "192.0.2.8"}, kNone,
                "none: 192.0.2.8 has no record; the second argument is a sender or a domain, not "
                "an address\n");
}

TEST(SlipTest, ArgumentsInTheOrderOfSpfcheckAreNamed) {
  ExpectWrongUse({"example.org", "192.0.2.7", "joe@example.org"},
                 "too many arguments, in the order of spfcheck: here the address is the first one");
}

TEST(SlipTest, AnOptionAfterTheArgumentsIsNamed) {
  ExpectWrongUse({"192.0.2.7", "example.org", "--explain"},
                 "options come before the address: --explain");
}

TEST(SlipTest, ARecordWithoutQuotesIsNamed) {
  ExpectWrongUse({"-r", "v=spf1", "ip4:192.0.2.7", "-all", "192.0.2.7", "example.org"},
                 "too many arguments: 192.0.2.7; a record is written in quotes");
  ExpectWrongUse({"-r", "v=spf1", "-all", "192.0.2.7", "example.org"},
                 "no such option: -a; a record is written in quotes");
}

TEST(SlipTest, ArgumentsAreShownInPrintableASCIIAndCut) {
  const std::string advice = "; an IPv4 address, as 192.0.2.7, is wanted\n";
  ExpectVerdict({"\x1b[31m\n\x7f\xff", "x"}, kNoVerdict,
                "no verdict: malformed address: \\033[31m\\012\\177\\377" + advice);
  ExpectVerdict({std::string(4000, 'x'), "x"}, kNoVerdict,
                "no verdict: malformed address: " + std::string(80, 'x') + "..." + advice);
  ExpectWrongUse({"192.0.2.7", "x", "\x1b\n"}, "too many arguments: \\033\\012");
}
