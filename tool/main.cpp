// spfcheck: prints whether a host may send mail for a domain, or the DNS records of the domain.
//
// With a client address it prints the verdict, otherwise the record report. Log lines go to
// standard output too, and to log.txtcurrent.log in the working directory. The exit status is 1 for
// the usage text and 0 otherwise; only the output has the verdict. An exception ends the process
// without a verdict.

#include <cstdio>
#include <string>

#include "framework/logging/Logger.h"
#include "tool/RecordReport.h"
#include "tool/SPFCheck.h"

namespace {

struct Arguments {
  std::string domain;
  std::string ip;
  std::string smtpFrom;
  std::string spfRecord;
};

// Returns no arguments if there are too many.
Arguments ReadArguments(int count, const char* const values[]) {
  Arguments arguments;
  std::string* const fields[] = {&arguments.domain, &arguments.ip, &arguments.smtpFrom,
                                 &arguments.spfRecord};
  if (count > 5) {
    return arguments;
  }
  for (int i = 1; i < count; ++i) {
    *fields[i - 1] = values[i];
  }
  return arguments;
}

void PrintUsage(const char* program) {
  std::fputs("Usage: ", stderr);
  if (program != nullptr) {
    std::fprintf(stderr, "%s <domain> <ip> <smtpFrom> <spfRecord>\n", program);
  }
}

void PrintVerdict(const Arguments& arguments) {
  const bool passed =
      SPFCheck(arguments.ip, arguments.smtpFrom, arguments.domain, 0, arguments.spfRecord)
          .getResult();
  std::printf("SPFCheck::%s \n", passed ? "passed" : "failed");
}

}  // namespace

int main(int argc, char* argv[]) {
  fwk::Logger::Init("log.txt", fwk::Debug, false, false);
  fwk::Logger::m_bToConsole = true;

  if (argc < 2) {
    PrintUsage(argc > 0 ? argv[0] : nullptr);
    return 1;
  }
  const Arguments arguments = ReadArguments(argc, argv);
  if (arguments.ip.empty()) {
    PrintRecordReport(arguments.domain);
  } else {
    PrintVerdict(arguments);
  }
  return 0;
}
