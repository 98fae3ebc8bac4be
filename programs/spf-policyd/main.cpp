// spf-policyd: a policy service for Postfix that says, in a header of each mail, whether the client
// may send mail for the sender's domain, and refuses forged mail of the domains that are named.
//
// spf-policyd(8) describes its use, signals and exit status.

#include <fcntl.h>
#include <getopt.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <exception>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

#include "framework/config/Config.h"
#include "framework/config/Environment.h"
#include "framework/core/Exceptions.h"
#include "framework/core/Version.h"
#include "framework/dns/DNSSocket.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "programs/spf-policyd/ListenAddress.h"
#include "programs/spf-policyd/PolicyServer.h"
#include "programs/spf-policyd/RefusalReport.h"
#include "programs/spf-policyd/ServiceLog.h"
#include "programs/spf-policyd/ServiceManager.h"
#include "programs/spf-policyd/Settings.h"
#include "tool/SenderCheck.h"

namespace {

constexpr char kName[] = "spf-policyd";
constexpr int kCannotServe = 1;
constexpr int kMalformed = 2;
constexpr rlim_t kLookUpDescriptors = 1024;
constexpr rlim_t kOtherDescriptors = 64;  // for neither look-ups nor connections

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

// Opens standard input, output and error where they are closed, so that no socket gets their
// numbers.
void OpenStandardDescriptors() {
  int descriptor = 0;
  while (descriptor >= 0 && descriptor <= STDERR_FILENO) {
    descriptor = open("/dev/null", O_RDWR);
  }
  close(descriptor);
}

sigset_t SetOf(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) {
    sigaddset(&set, signal);
  }
  return set;
}

const sigset_t& EndSignals() {
  static const sigset_t set = SetOf({SIGINT, SIGTERM});
  return set;
}

const sigset_t& AllSignals() {
  static const sigset_t set = SetOf({SIGHUP, SIGINT, SIGTERM});
  return set;
}

// Blocks until a signal arrives, at most a second. A signal that ends the program is returned
// first.
int WaitForSignal() {
  const timespec now{.tv_sec = 0, .tv_nsec = 0};
  const timespec second{.tv_sec = 1, .tv_nsec = 0};
  const int end = sigtimedwait(&EndSignals(), nullptr, &now);
  return end > 0 ? end : sigtimedwait(&AllSignals(), nullptr, &second);
}

// Returns the text of an exception, with the path that the reader of the configuration leaves out.
std::string Explain(const std::exception& e) {
  const bool isReaders = dynamic_cast<const ConfigException*>(&e) != nullptr;
  return e.what() + (isReaders ? " " + Config::m_configFilename : "");
}

void Complain(const std::string& text) {
  std::fprintf(stderr, "%s: %s\n", kName, text.c_str());
}

void UseNameServer(const Settings& settings) {
  if (!settings.nameServer.empty()) {
    dns_servers = settings.nameServer;
  }
  const DNSSocket first("");  // finds the system's name server unless one is set
}

// Raises the limit of descriptors for `connections` in addition to look-ups. Returns how many
// connections are possible; if the system allows fewer descriptors, each may need one more for a
// look-up.
std::size_t AllowDescriptors(std::size_t connections) {
  const rlim_t needed = kLookUpDescriptors + kOtherDescriptors + connections;
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  if (limit.rlim_cur < needed) {
    limit.rlim_cur = std::min(needed, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  if (limit.rlim_cur >= needed) {
    return connections;
  }
  const rlim_t pairs = (std::max(limit.rlim_cur, kOtherDescriptors + 2) - kOtherDescriptors) / 2;
  return std::min<std::size_t>(connections, pairs);
}

void WarnOfFaults(const Settings& settings, std::size_t connections) {
  if (connections < settings.connections) {
    ServiceLog::Write(fwk::Warning, "only " + std::to_string(connections) +
                                        " connections, as the system allows too few descriptors");
  }
  if (!SenderCheck::IsAddress(dns_servers)) {
    ServiceLog::Write(fwk::Warning, "no verdicts, as the name server has no IPv4 address: " +
                                        dns_servers + "; set dns_server");
  }
}

std::vector<int> OpenListeners(const Settings& settings) {
  std::vector<int> listeners = ServiceManager::TakeListeners();
  if (listeners.empty()) {
    listeners.push_back(ListenAddress(settings.listen).Open());
  }
  return listeners;
}

void SetUpLog(const Settings& settings) {
  const std::string fault = ServiceLog::FindFault(settings);
  if (!fault.empty()) {
    Complain(fault);
  }
  ServiceLog::SetUp(settings);
}

// Reads the configuration again. Returns the settings to use from now on.
SettingsPointer Reload(const SettingsPointer& current, const Settings& atStart) {
  try {
    Config::Load(Config::m_configFilename, "");
    SettingsPointer settings = Settings::Load(Config::m_configFilename);
    SetUpLog(*settings);
    ServiceLog::Write(fwk::Info, "configuration read again");
    for (const std::string& key : settings->FindRestartKeys(atStart)) {
      ServiceLog::Write(fwk::Warning, "a restart is needed to change " + key);
    }
    return settings;
  } catch (const std::exception& e) {
    ServiceLog::Write(fwk::Error, "the settings stay as they are: " + Explain(e));
    return current;
  }
}

// Serves until a signal ends the program.
void Serve(PolicyServer& server, const SettingsPointer& atStart) {
  SettingsPointer settings = atStart;
  for (;;) {
    const int signal = WaitForSignal();
    if (signal == SIGHUP) {
      ServiceManager::Notify("RELOADING=1");
      settings = Reload(settings, *atStart);
      server.SetSettings(settings);
      ServiceManager::Notify("READY=1");
    } else if (signal > 0) {
      ServiceManager::Notify("STOPPING=1");
      ServiceLog::Write(fwk::Info, "ends on signal " + std::to_string(signal));
      return;
    }
    server.Tidy();
  }
}

int Run(const SettingsPointer& settings) {
  SetUpLog(*settings);
  UseNameServer(*settings);
  try {
    const std::size_t connections = AllowDescriptors(settings->connections);
    const std::vector<int> listeners = OpenListeners(*settings);
    fwk::Logger::StartAsync();
    PolicyServer server(listeners, connections, settings);
    WarnOfFaults(*settings, connections);
    ServiceLog::Write(fwk::Info, std::string("started, version ") + Environment::PRODUCT_VERSION);
    ServiceManager::Notify("READY=1");
    Serve(server, settings);
  } catch (const std::exception& e) {
    Complain(e.what());
    return kCannotServe;
  }
  ServiceLog::Write(fwk::Info, "ended");
  if (!ServiceLog::End()) {
    Complain("the last lines of the log could not be written in time");
  }
  return 0;
}

int CheckConfiguration(const Settings& settings) {
  fwk::Logger::Init("", fwk::Info, true, true);
  std::fputs(Settings::Describe().c_str(), stdout);
  UseNameServer(settings);
  for (const std::string& domain : settings.refuse.GetNames()) {
    std::printf("\n%s", DescribeRecord(domain).c_str());
  }
  return std::fflush(stdout) == 0 ? 0 : kMalformed;
}

int Start(bool onlyCheck) {
  OpenStandardDescriptors();
  if (!onlyCheck) {
    std::signal(SIGPIPE, SIG_IGN);
    pthread_sigmask(SIG_BLOCK, &AllSignals(), nullptr);  // also in all later threads
  }
  SettingsPointer settings;
  try {
    const Environment environment(kName, FWK_VERSION);
    settings = Settings::Load(Config::m_configFilename);
  } catch (const std::exception& e) {
    Complain(Explain(e));
    return kMalformed;
  }
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
        std::printf("%s %s\n", kName, FWK_VERSION);
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
