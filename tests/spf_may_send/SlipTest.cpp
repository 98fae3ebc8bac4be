// What users commonly write in place of the arguments is named, with what to do about it.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/spf_may_send/MaySendRun.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"

namespace {

using Texts = std::vector<std::string>;

struct Slip {
  const char* address;
  const char* sender;
  const char* reason;
};

void ExpectReason(const Slip& slip) {
  SCOPED_TRACE(slip.reason);
  ExpectVerdict({slip.address, slip.sender}, kNoVerdict,
                "no verdict: " + std::string(slip.reason) + "\n");
}

void ExpectWrongUse(const Texts& arguments, const std::string& message) {
  SCOPED_TRACE(message);
  MaySendRun run(arguments);
  EXPECT_EQ(run.GetStatus(), kWrongUse);
  EXPECT_EQ(run.GetErrors(),
            "spf-may-send: " + message + "\nTry 'spf-may-send --help' or 'man spf-may-send'.\n");
}

}  // namespace

TEST(SlipTest, SwappedArgumentsAreNamed) {
  const std::string text = "; the arguments are swapped: the address is the first one";
  for (const char* sender : {"192.0.2.7", "2001:db8::1"}) {
    ExpectReason(
        {"joe@example.org", sender, ("malformed address: joe@example.org" + text).c_str()});
  }
}

TEST(SlipTest, AnAddressOfIPv6IsNamed) {
  for (const char* address : {"2001:db8::1", "::", "fe80::1"}) {
    const std::string reason = "malformed address: " + std::string(address) +
                               "; IPv6 is not supported: only an IPv4 address can be checked";
    ExpectReason({address, "joe@example.org", reason.c_str()});
  }
}

TEST(SlipTest, AHostNameInPlaceOfTheAddressIsNamed) {
  ExpectReason({"mail.example.org", "joe@example.org",
                "malformed address: mail.example.org; it is a host name: write the host's "
                "address, as `spfcheck mail.example.org` shows it"});
}

TEST(SlipTest, ASenderInPlaceOfTheAddressIsNamed) {
  ExpectReason({"joe@example.org", "example.org",
                "malformed address: joe@example.org; the first argument is the address of the "
                "host that sends, as 192.0.2.7"});
}

TEST(SlipTest, AnAddressAmongOtherCharactersIsShownAlone) {
  for (const char* address : {"[192.0.2.7]", "192.0.2.7:25", "192.0.2.7/24", " 192.0.2.7",
                              "mail[192.0.2.7]", "::ffff:192.0.2.7", "ip4:192.0.2.7"}) {
    const std::string reason =
        "malformed address: " + std::string(address) + "; write the address alone: 192.0.2.7";
    ExpectReason({address, "joe@example.org", reason.c_str()});
  }
  ExpectReason({"192.0.2.7,192.0.2.8", "joe@example.org",
                "malformed address: 192.0.2.7,192.0.2.8; an IPv4 address, as 192.0.2.7, is "
                "wanted"});
}

TEST(SlipTest, NumbersThatAreNotAnAddressAreNamed) {
  for (const char* address :
       {"192.0.2.256", "192.0.2.07", "192.0.2", "192.0.2.7.1", "3221225991", "..."}) {
    const std::string reason = "malformed address: " + std::string(address) +
                               "; an IPv4 address is four numbers from 0 to 255 without leading "
                               "zeros";
    ExpectReason({address, "joe@example.org", reason.c_str()});
  }
}

TEST(SlipTest, AnEmptyArgumentIsNamed) {
  ExpectReason({"", "joe@example.org", "malformed address: it is empty"});
  ExpectReason({"192.0.2.7", "",
                "malformed sender: it is empty; for a bounce write the name that the host gave in "
                "EHLO"});
  ExpectReason({"192.0.2.7", "<>",
                "malformed sender: <>; it is empty; for a bounce write the name that the host "
                "gave in EHLO"});
}

TEST(SlipTest, AMalformedSenderIsNamed) {
  for (const Slip& slip : {
           Slip{"192.0.2.7", "<joe@example.org> SIZE=1000",
                "malformed sender: <joe@example.org> SIZE=1000; write the address alone: "
                "<joe@example.org>"},
           Slip{"192.0.2.7", "joe@[192.0.2.7]",
                "malformed sender: joe@[192.0.2.7]; an address in brackets has no record"},
           Slip{"192.0.2.7", "joe@b\xc3\xbc.example",
                "malformed sender: joe@b\\303\\274.example; write the domain in its xn-- form"},
           Slip{"192.0.2.7", "joe@example..org",
                "malformed sender: joe@example..org; a domain has labels of 1 to 63 letters, "
                "digits, - and _ with dots between them"},
           Slip{"192.0.2.7", "joe@",
                "malformed sender: joe@; a domain has labels of 1 to 63 letters, digits, - and _ "
                "with dots between them"},
       }) {
    ExpectReason(slip);
  }
}

TEST(SlipTest, TwoAddressesAreNamed) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer server(ScriptedNameServer::Zone{});
  ExpectVerdict({"192.0.2.7", "192.0.2.8"}, kNone,
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
  ExpectReason({"\x1b[31m\n\x7f\xff", "x",
                "malformed address: \\033[31m\\012\\177\\377; an IPv4 address, as 192.0.2.7, is "
                "wanted"});
  const std::string reason = "malformed address: " + std::string(80, 'x') +
                             "...; an IPv4 address, as 192.0.2.7, is wanted";
  ExpectReason({std::string(4000, 'x').c_str(), "x", reason.c_str()});
  ExpectWrongUse({"192.0.2.7", "x", "\x1b\n"}, "too many arguments: \\033\\012");
}
