#include "tests/support/CleanMachine.h"

#include <gtest/gtest.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/Shell.h"
#include "tests/support/Skip.h"

namespace {

namespace fs = std::filesystem;

void MountMemory(const std::string& directory) {
  EXPECT_EQ(mount("tmpfs", directory.c_str(), "tmpfs", 0, nullptr), 0) << directory;
}

// Keeps changes of `directory` in memory, below /mnt.
void LayOver(const std::string& directory) {
  const std::string upper = "/mnt" + directory + "/changes";
  const std::string work = "/mnt" + directory + "/work";
  fs::create_directories(upper);
  fs::create_directories(work);
  const std::string options =
      "userxattr,lowerdir=" + directory + ",upperdir=" + upper + ",workdir=" + work;
  if (mount("overlay", directory.c_str(), "overlay", 0, options.c_str()) != 0) {
    Skip("this machine forbids one file system over another: " + std::string(std::strerror(errno)));
  }
}

// Makes sudo only run its arguments: this process is root already.
void ReplaceSudo() {
  fs::remove("/usr/bin/sudo");
  std::ofstream("/usr/bin/sudo") << "#!/bin/sh\nexec \"$@\"\n";
  fs::permissions("/usr/bin/sudo", fs::perms::all);
}

// Keeps CI, because the scripts would build everything again with another value.
void CleanEnvironment() {
  const char* const ci = std::getenv("CI");
  const std::string kept = ci == nullptr ? "" : ci;
  clearenv();
  if (ci != nullptr) {
    setenv("CI", kept.c_str(), 1);
  }
  setenv("APT_CONFIG", "/mnt/apt.conf", 1);
  setenv("PATH", "/usr/local/bin:/usr/bin:/bin:/usr/sbin:/sbin", 1);
  setenv("HOME", "/root", 1);
}

}  // namespace

void EnterCleanMachine() {
  MountMemory("/mnt");
  LayOver("/etc");
  LayOver("/usr");
  LayOver("/var");
  ReplaceSudo();
  fs::remove("/etc/spf-policyd.conf");  // dpkg would ask about one that was changed
  // A private network knows no other user for apt to work as.
  std::ofstream("/mnt/apt.conf") << "APT::Sandbox::User \"root\";\n";
  CleanEnvironment();
}

void InstallPackages() {
  // The trigger for the index of manual pages needs a user whom a private network does not know.
  OutputOf("dpkg --no-triggers -i " PROJECT_ROOT "/build/packages/*.deb", "/");
  for (const char* directory : {"build", "examples", "framework", "programs", "tool"}) {
    MountMemory(std::string(PROJECT_ROOT "/") + directory);
  }
}
