// spf-bulk: tells for each line of a file whether the host may send mail for the domain.
//
// spf-bulk(1) describes its use and exit status.

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <string>

#include "framework/core/Exceptions.h"
#include "framework/core/Version.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "programs/spf-bulk/BulkOptions.h"
#include "programs/spf-bulk/BulkRun.h"
#include "tool/CommandLine.h"

namespace {

enum Status { kVerdicts = 0, kErrors = 1, kIncomplete = 2 };

constexpr char kHelp[] =
    "Usage: spf-bulk [OPTION]... [FILE]\n"
    "Reads lines \"domain,ip,sender\" from FILE or standard input, checks for each whether the "
    "host\n"
    "may send mail for the domain, and writes the lines with the verdict after them: passed, "
    "failed,\n"
    "or error where there is none.\n"
    "\n"
    "  -j, --jobs N                  at most so many checks at once, 1 to 900 (64)\n"
    "      --output FILE             where the lines go (standard output)\n"
    "      --resume                  go on after the lines that the output has\n"
    "      --errors FILE             where malformed lines and reasons go (spf-bulk.errors)\n"
    "      --time-limit SECONDS      how long a check may take (20)\n"
    "      --rate N                  begin at most so many checks a second\n"
    "      --server ADDRESS          the name server to ask (that of /etc/resolv.conf)\n"
    "      --progress, --no-progress show how far the run is, or do not (on a terminal)\n"
    "  -h, --help                    show this\n"
    "  -V, --version                 show the version\n"
    "\n"
    "The exit status is 0 when each line has passed or failed, 1 when some are malformed or have\n"
    "the verdict error, 2 for wrong use and for a run that is not complete. See spf-bulk(1).\n";

// Finds the name server, once for all threads.
void FindServer(const std::string& server) {
  dns_servers = server;
  const DNSSocket first("");
  if (!HasServer()) {
    throw StdException(DescribeMissingServer());
  }
}

int Print(const char* text) {
  return std::fputs(text, stdout) >= 0 && std::fflush(stdout) == 0 ? kVerdicts : kIncomplete;
}

int Start(const BulkOptions& options) {
  switch (options.action) {
    case BulkOptions::Action::kHelp:
      return Print(kHelp);
    case BulkOptions::Action::kVersion:
      return Print("spf-bulk " FWK_VERSION "\n");
    case BulkOptions::Action::kRun:
      break;
  }
  FindServer(options.server);
  return BulkRun(options).Run() ? kVerdicts : kErrors;
}

// Opens closed standard streams, so that no other file gets their descriptors, in a way that their
// use still fails.
void OccupyStandardStreams() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0) {
      open("/dev/null", descriptor == STDIN_FILENO ? O_WRONLY : O_RDONLY);
    }
  }
}

}  // namespace

int main(int argc, char* argv[]) {
  OccupyStandardStreams();
  fwk::Logger::Init("", fwk::Error + 1, false, false);  // no log
  std::signal(SIGPIPE, SIG_IGN);                        // a pipe without a reader becomes an error
  std::signal(SIGXFSZ, SIG_IGN);                        // as does a file that may not grow
  try {
    return Start(ReadOptions(argc, argv));
  } catch (const std::invalid_argument& e) {
    std::fprintf(stderr, "spf-bulk: %s\nTry 'spf-bulk --help' or 'man spf-bulk'.\n", e.what());
  } catch (const std::bad_alloc&) {
    std::fputs("spf-bulk: out of memory\n", stderr);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "spf-bulk: %s\n", e.what());
  }
  return kIncomplete;
}
