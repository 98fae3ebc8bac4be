// Stacks without room for the text of a look-up that failed, which StringFormat makes of 1 MiB.

#include <gtest/gtest.h>
#include <pthread.h>

#include <csignal>
#include <string>

#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "tests/faults/KnownRun.h"
#include "tests/faults/ToolProcess.h"
#include "tests/support/PrivateNetwork.h"
#include "tests/support/ScriptedNameServer.h"
#include "tool/SPFCheck.h"

namespace {

constexpr char kOneMiB[] = "ulimit -s 1024; exec \"$@\"";
constexpr char kTwoMiB[] = "ulimit -s 2048; exec \"$@\"";

const Expected kNoVerdict = {
    .standardOutput = kBegin, .standardError = "", .log = kBegin, .status = 128 + SIGSEGV};

void* Check(void* /*unused*/) {
  const SPFCheck check("192.0.2.7", "", "example.org", 0, "");
  return nullptr;
}

// Makes a check on a thread with so much stack.
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
  ToolProcess small(kPublishedRecord, kOneMiB);
  ToolProcess large(kPublishedRecord, kTwoMiB);
  small.ExpectEnd(kNoVerdict);
  const std::string log = LogOfFailure(kTimedOut);
  large.ExpectEnd({.standardOutput = log + "SPFCheck::failed \n", .standardError = "", .log = log});
}

TEST(StackLimitTest, WithOneMiBAQueryThatCannotBeSentEndsTheTool) {
  SetResolverFile("nameserver 192.0.2.53\n");  // not reachable in a private network
  ToolProcess(kPublishedRecord, kOneMiB).ExpectEnd(kNoVerdict);
}

TEST(StackLimitTest, OnAThreadOfOneMiBAFailedLookUpEndsTheProcess) {
  fwk::Logger::Init("", fwk::Debug, false, false);
  dns_servers = "192.0.2.53";
  EXPECT_EXIT(CheckOnThread(1U << 20), testing::KilledBySignal(SIGSEGV), "");
  CheckOnThread(2U << 20);
}
