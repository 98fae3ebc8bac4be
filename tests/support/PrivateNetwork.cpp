#include "tests/support/PrivateNetwork.h"

#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/Skip.h"
#include "tests/support/TemporaryDirectory.h"

namespace {

constexpr char kInside[] = "SPFCHECK_TESTS_INSIDE_PRIVATE_NETWORK";

[[noreturn]] void ThrowErrno(const char* what) {
  throw std::system_error(errno, std::generic_category(), what);
}

using Words = std::vector<std::string>;

const Words kOwnUsers = {"--user", "--map-root-user", "--mount", "--net"};
const Words kOwnProcesses = {"--mount", "--net", "--pid", "--fork", "--kill-child", "--mount-proc"};

void SkipUnlessAllowed(const Words& options) {
  if (std::system("command -v unshare >/dev/null") != 0) {
    Skip("unshare is missing");
  }
  std::string command = "unshare";
  for (const std::string& option : options) {
    command += " " + option;
  }
  if (std::system((command + " -- true >/dev/null 2>&1").c_str()) != 0) {
    Skip("this machine forbids private network namespaces");
  }
}

// Starts this program again inside such namespaces. Returns only if that fails.
void EnterAgain(char* argv[], const Words& options) {
  setenv(kInside, "1", 1);
  Words words = {"unshare"};
  words.insert(words.end(), options.begin(), options.end());
  words.emplace_back("--");
  words.emplace_back(std::filesystem::read_symlink("/proc/self/exe"));
  std::vector<char*> arguments;
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  for (char** argument = argv + 1; *argument != nullptr; ++argument) {
    arguments.push_back(*argument);
  }
  arguments.push_back(nullptr);
  execvp(arguments[0], arguments.data());
}

void BringLoopbackUp() {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  ifreq request{};
  std::strcpy(request.ifr_name, "lo");
  request.ifr_flags = IFF_UP | IFF_RUNNING;
  if (ioctl(descriptor, SIOCSIFFLAGS, &request) < 0) {
    ThrowErrno("loopback interface");
  }
  close(descriptor);
}

void Enter(char* argv[], const Words& options) {
  if (std::getenv(kInside) == nullptr) {
    SkipUnlessAllowed(options);
    EnterAgain(argv, options);
    ThrowErrno("unshare");
  }
  BringLoopbackUp();
}

// Returns how many user ids this process can have.
unsigned long CountUsers() {
  std::ifstream map("/proc/self/uid_map");
  unsigned long count = 0;
  for (unsigned long inside = 0, outside = 0, size = 0; map >> inside >> outside >> size;) {
    count += size;
  }
  return count;
}

}  // namespace

void SetResolverFile(const std::string& content) {
  static TemporaryDirectory directory;
  directory.Write("resolv.conf", content);
  MountResolverFile(directory.Path("resolv.conf"));
}

void MountResolverFile(const std::string& path) {
  umount2("/etc/resolv.conf", MNT_DETACH);  // an earlier one, if there is one
  if (mount(path.c_str(), "/etc/resolv.conf", nullptr, MS_BIND, nullptr) < 0) {
    ThrowErrno("mount over /etc/resolv.conf");
  }
}

void EnterPrivateNetwork(char* argv[]) {
  Enter(argv, kOwnUsers);
}

void EnterPrivateMachine(char* argv[]) {
  if (geteuid() != 0 || CountUsers() < 65536) {
    Skip("this machine forbids programs with users of their own");
  }
  Enter(argv, kOwnProcesses);
}
