// Stacks that are too small for the text of a failed look-up, for which StringFormat takes 1 MiB.

#include <gtest/gtest.h>
#include <pthread.h>

#include <csignal>

#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"
#include "tool/SPFCheck.h"

namespace {

void* Check(void* /*unused*/) {
  const SPFCheck check("192.0.2.7", "", "example.org", 0, "");
  return nullptr;
}

// Makes a check on a thread with `stack` bytes of stack.
void CheckOnThread(std::size_t stack) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, stack);
  pthread_t thread{};
  if (pthread_create(&thread, &attributes, Check, nullptr) == 0) {
    pthread_join(thread, nullptr);
  }
  pthread_attr_destroy(&attributes);
}

}  // namespace

TEST(StackLimitTest, WithOneMiBATimeOutEndsTheToolAndWithTwoItIsLogged) {
  SetResolverFile("nameserver 127.0.0.1\n");
  const ScriptedNameServer silent(Silence);
  ToolProcess small(kPublishedRecord, "ulimit -s 1024; exec \"$@\"");
  ToolProcess large(kPublishedRecord, "ulimit -s 2048; exec \"$@\"");
  small.ExpectEnd(
      {.standardOutput = kBegin, .standardError = "", .log = kBegin, .status = 128 + SIGSEGV});
  large.ExpectEnd(Verdict(kBegin + kTimedOut + Record(""), "failed"));
}

TEST(StackLimitTest, OnAThreadOfOneMiBAFailedLookUpEndsTheProcess) {
  fwk::Logger::Init("", fwk::Debug, false, false);
  dns_servers = "192.0.2.53";  // not reachable in a private network
  EXPECT_EXIT(CheckOnThread(1U << 20), testing::KilledBySignal(SIGSEGV), "");
  CheckOnThread(2U << 20);
}
