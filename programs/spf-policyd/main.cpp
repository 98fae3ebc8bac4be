// spf-policyd: a policy service for Postfix that tells, in a header of each mail, whether the
// client may send mail for the sender's domain, and refuses forged mail of domains that are named.
//
// spf-policyd(8) says how it is used. SIGHUP reads the configuration again; SIGTERM and SIGINT end
// the program when what it decides on is answered. Exit status: 0; 1 when it cannot serve; 2 for a
// malformed configuration or wrong use.

#include <getopt.h>
#include <sys/resource.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "framework/config/Config.h"
#include "framework/config/Environment.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "programs/spf-policyd/ListenAddress.h"
#include "programs/spf-policyd/PolicyServer.h"
#include "programs/spf-policyd/RefusalReport.h"
#include "programs/spf-policyd/ServiceLog.h"
#include "programs/spf-policyd/ServiceManager.h"
#include "programs/spf-policyd/Settings.h"

namespace {

constexpr char kName[] = "spf-policyd";
constexpr int kCannotServe = 1;
constexpr int kMalformed = 2;
constexpr rlim_t kOtherDescriptors = 1024 + 64;  // those of look-ups, and a few

using SettingsPointer = std::shared_ptr<const Settings>;

void PrintUsage(std::FILE* stream) {
  std::fputs(
      "Usage: spf-policyd [OPTION]\n"
      "Answers Postfix's questions whether a client may send mail for a domain.\n"
      "\n"
      "  -c, --check-config  print the settings in force, and what to know about the domains\n"
      "                      whose mail is refused, and end\n"
      "  -h, --help          show this\n"
      "  -V, --version       show the version\n"
      "\n"
      "The settings are in /etc/spf-policyd.conf; see spf-policyd(8) and spf-policyd.conf(5).\n",
      stream);
}

// The signals that the main thread takes. They are blocked in all threads.
sigset_t BlockSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGHUP);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

void UseNameServer(const Settings& settings) {
  if (!settings.nameServer.empty()) {
    dns_servers = settings.nameServer;
  }
  const DNSSocket first("");  // finds the system's name server, unless there is one
}

// Allows as many descriptors as connections need beside look-ups. Returns why that fails.
std::string RaiseDescriptorLimit(const Settings& settings) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  const rlim_t needed = kOtherDescriptors + settings.connections;
  if (limit.rlim_cur < needed) {
    limit.rlim_cur = std::min(needed, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  return limit.rlim_cur >= needed
             ? ""
             : "only " + std::to_string(limit.rlim_cur) + " descriptors are allowed, of which " +
                   std::to_string(needed) + " may be needed";
}

std::vector<int> OpenListeners(const Settings& settings) {
  std::vector<int> listeners = ServiceManager::TakeListeners();
  if (listeners.empty()) {
    listeners.push_back(ListenAddress(settings.listen).Open());
  }
  return listeners;
}

// Reads the configuration again. Returns the settings from now on.
SettingsPointer Reload(const SettingsPointer& old) {
  ServiceManager::Notify("RELOADING=1");
  SettingsPointer settings = old;
  try {
    Config::Load(Config::m_configFilename, "");
    settings = Settings::Load(Config::m_configFilename);
    ServiceLog::SetUp(*settings);
    ServiceLog::Write(fwk::Info, "configuration read again");
    for (const std::string& key : settings->FindRestartKeys(*old)) {
      ServiceLog::Write(fwk::Warning, "a restart is needed to change " + key);
    }
  } catch (const std::exception& e) {
    ServiceLog::Write(fwk::Error, std::string("the settings stay as they are: ") + e.what());
  }
  ServiceManager::Notify("READY=1");
  return settings;
}

// Serves until a signal ends the program.
void Serve(const sigset_t& signals, PolicyServer& server, SettingsPointer settings) {
  for (;;) {
    const timespec second{.tv_sec = 1, .tv_nsec = 0};
    const int signal = sigtimedwait(&signals, nullptr, &second);
    if (signal == SIGHUP) {
      settings = Reload(settings);
      server.SetSettings(settings);
    } else if (signal > 0) {
      ServiceLog::Write(fwk::Info, "ends on signal " + std::to_string(signal));
      return;
    }
    server.Tidy();
  }
}

int Run(const SettingsPointer& settings) {
  const sigset_t signals = BlockSignals();
  const std::string fault = ServiceLog::FindFault(*settings);
  if (!fault.empty()) {
    std::fprintf(stderr, "%s: %s\n", kName, fault.c_str());
  }
  const std::string shortage = RaiseDescriptorLimit(*settings);
  UseNameServer(*settings);
  try {
    const std::vector<int> listeners = OpenListeners(*settings);
    fwk::Logger::StartAsync();
    PolicyServer server(listeners, settings);
    ServiceLog::Write(fwk::Info, std::string("started, version ") + Environment::PRODUCT_VERSION);
    if (!shortage.empty()) {
      ServiceLog::Write(fwk::Warning, shortage);
    }
    ServiceManager::Notify("READY=1");
    Serve(signals, server, settings);
    ServiceManager::Notify("STOPPING=1");
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s: %s\n", kName, e.what());
    return kCannotServe;
  }
  ServiceLog::Write(fwk::Info, "ended");
  ServiceLog::End();
  return 0;
}

int CheckConfiguration(const Settings& settings) {
  std::fputs(Settings::Describe().c_str(), stdout);
  UseNameServer(settings);
  for (const std::string& domain : settings.refuse.GetNames()) {
    std::printf("\n%s", DescribeRecord(domain).c_str());
  }
  return std::fflush(stdout) == 0 ? 0 : kMalformed;
}

int Start(bool onlyCheck) {
  SettingsPointer settings;
  try {
    const Environment environment(kName, SPFCHECK_VERSION);
    settings = Settings::Load(Config::m_configFilename);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "%s: %s\n", kName, e.what());
    return kMalformed;
  }
  ServiceLog::SetUp(*settings);
  return onlyCheck ? CheckConfiguration(*settings) : Run(settings);
}

}  // namespace

int main(int argc, char* argv[]) {
  static const option kOptions[] = {{"check-config", no_argument, nullptr, 'c'},
                                    {"help", no_argument, nullptr, 'h'},
                                    {"version", no_argument, nullptr, 'V'},
                                    {}};
  bool onlyCheck = false;
  for (int found = 0; (found = getopt_long(argc, argv, "chV", kOptions, nullptr)) != -1;) {
    switch (found) {
      case 'c':
        onlyCheck = true;
        break;
      case 'h':
        PrintUsage(stdout);
        return std::fflush(stdout) == 0 ? 0 : kMalformed;
      case 'V':
        std::printf("%s %s\n", kName, SPFCHECK_VERSION);
        return std::fflush(stdout) == 0 ? 0 : kMalformed;
      default:
        PrintUsage(stderr);
        return kMalformed;
    }
  }
  if (optind < argc) {
    PrintUsage(stderr);
    return kMalformed;
  }
  return Start(onlyCheck);
}
