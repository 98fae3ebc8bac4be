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

void SkipUnlessAllowed() {
  if (std::system("command -v unshare >/dev/null") != 0) {
    Skip("unshare is missing");
  }
  if (std::system("unshare --user --map-root-user --mount --net -- true >/dev/null 2>&1") != 0) {
    Skip("this machine forbids private network namespaces");
  }
}

// Starts this program anew inside; returns only when that fails.
void EnterAnew(char* argv[]) {
  setenv(kInside, "1", 1);
  const std::string self = std::filesystem::read_symlink("/proc/self/exe");
  std::vector<char*> arguments;
  for (const char* word : {"unshare", "--user", "--map-root-user", "--mount", "--net", "--"}) {
    arguments.push_back(const_cast<char*>(word));
  }
  arguments.push_back(const_cast<char*>(self.c_str()));
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
  if (std::getenv(kInside) == nullptr) {
    SkipUnlessAllowed();
    EnterAnew(argv);
    ThrowErrno("unshare");
  }
  BringLoopbackUp();
}
