// spf-may-send: tells scripts whether a host may send mail for a domain, and administrators why.
//
// The verdict is the exit status and, with its reason, the first line of standard output.

#include <arpa/inet.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>
#include <string>

#include "framework/core/Version.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "programs/spf-may-send/Explanation.h"
#include "programs/spf-may-send/MaySendOptions.h"
#include "programs/spf-may-send/RecordTree.h"
#include "programs/spf-may-send/Slip.h"
#include "tool/CommandLine.h"
#include "tool/SenderCheck.h"

using Verdict = SenderCheck::Verdict;

namespace {

enum Status { kPassed = 0, kFailed = 1, kWrongUse = 2, kNone = 3, kNoVerdict = 4 };

// A record that keeps to RFC 7208 needs at most 11. More show how far a record exceeds that.
constexpr std::uint32_t kLookUps = 20;

constexpr char kHelp[] =
    "Usage: spf-may-send [OPTION]... ADDRESS SENDER|DOMAIN\n"
    "Tells whether the host with this IPv4 address may send mail for the domain.\n"
    "\n"
    "  -t, --time-limit SECONDS  how long it may take (20)\n"
    "  -s, --server ADDRESS      the name server to ask (that of /etc/resolv.conf)\n"
    "  -r, --record RECORD       the record to evaluate in place of the published one\n"
    "  -e, --explain             show the records that were read, and what each term did\n"
    "  -q, --quiet               print nothing: the status is the verdict\n"
    "  -h, --help                show this\n"
    "  -V, --version             show the version\n"
    "\n"
    "Options come before the address. The exit status is 0 for passed, 1 for failed, 2 for wrong\n"
    "use, 3 for none (the domain has no record), 4 for no verdict. See spf-may-send(1).\n";

Status StatusOf(Verdict verdict) {
  switch (verdict) {
    case Verdict::kPassed:
      return kPassed;
    case Verdict::kFailed:
      return kFailed;
    case Verdict::kNone:
      return kNone;
    case Verdict::kNoVerdict:
      break;
  }
  return kNoVerdict;
}

void Complain(const std::string& text) {
  std::fprintf(stderr, "spf-may-send: %s\n", text.c_str());
}

// Prints `text`. Returns `status`, or kWrongUse if standard output cannot be written.
int Print(const std::string& text, Status status) {
  const bool isWritten = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
  if (!isWritten || std::fclose(stdout) != 0) {
    Complain(std::string("cannot write to standard output: ") + std::strerror(errno));
    return kWrongUse;
  }
  return status;
}

// Returns which name server was asked, and what to do if there is none.
std::string DescribeServer() {
  return HasServer() ? "the name server is " + QuoteArgument(dns_servers) : DescribeMissingServer();
}

// Returns the reason of a verdict, with what to do about it.
std::string DescribeReason(const SenderCheck& check, const MaySendOptions& options) {
  std::string text = check.GetReason();
  const auto add = [&text](const std::string& more) {
    text += (text.ends_with(": ") || more.empty() ? "" : "; ") + more;
  };
  if (check.GetVerdict() == Verdict::kNone || check.GetVerdict() == Verdict::kNoVerdict) {
    add(AdviseOnArguments(options.address, options.sender));
  }
  if (check.HasHitLimit()) {
    add(check.GetMissing());
  }
  const bool isMissing =
      !check.GetMissing().empty() && text.find(check.GetMissing()) != std::string::npos;
  if (isMissing || (check.GetLookUps() > 0 && !HasServer())) {
    add(DescribeServer());
  }
  return text;
}

int Check(const MaySendOptions& options) {
  if (!options.server.empty()) {
    dns_servers = options.server;
  }
  Explanation explanation;
  const SenderCheck check(options.address, options.sender, options.record,
                          {kLookUps, std::chrono::steady_clock::now() + options.timeLimit, -1},
                          options.isExplained ? &explanation : nullptr);
  explanation.Finish();
  const Status status = StatusOf(check.GetVerdict());
  if (options.isQuiet) {
    return status;
  }
  std::string text = SenderCheck::NameOf(check.GetVerdict()) + std::string(": ") +
                     DescribeReason(check, options) + "\n";
  if (explanation.GetRecord() != nullptr) {
    text += DescribeTree(*explanation.GetRecord(), inet_addr(options.address.c_str()));
  }
  return Print(text, status);
}

int Run(const MaySendOptions& options) {
  switch (options.action) {
    case MaySendOptions::Action::kHelp:
      return Print(kHelp, kPassed);
    case MaySendOptions::Action::kVersion:
      return Print("spf-may-send " FWK_VERSION "\n", kPassed);
    case MaySendOptions::Action::kCheck:
      break;
  }
  return Check(options);
}

}  // namespace

int main(int argc, char* argv[]) {
  fwk::Logger::Init("", fwk::Error, false, false);  // no log
  std::signal(SIGPIPE, SIG_IGN);                    // a pipe without a reader becomes an error
  try {
    return Run(ReadOptions(argc, argv));
  } catch (const std::invalid_argument& e) {
    Complain(e.what());
    std::fputs("Try 'spf-may-send --help' or 'man spf-may-send'.\n", stderr);
    return kWrongUse;
  } catch (const std::bad_alloc&) {
    Complain("out of memory");
    return kNoVerdict;
  }
}
