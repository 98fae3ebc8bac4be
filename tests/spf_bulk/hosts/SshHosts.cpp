#include "tests/spf_bulk/hosts/SshHosts.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>

namespace {

constexpr std::size_t kHosts = 3;
constexpr int kAttempts = 200;
constexpr int kAttemptUs = 50000;

std::string AddressOf(std::size_t host) {
  return "127.0.0." + std::to_string(11 + host);
}

std::string NameOf(std::size_t host) {
  return "host" + std::to_string(host);
}

// Runs a shell command, which must succeed.
void Do(const std::string& command) {
  EXPECT_EQ(std::system(command.c_str()), 0) << command;
}

}  // namespace

SshHosts::SshHosts() {
  Do("chmod 755 " + m_directory.Path());  // sshd requires it above a home directory
  ReplaceSystemFiles();
  MakeKeys();
  for (std::size_t host = 0; host < kHosts; ++host) {
    Start(host);
  }
}

SshHosts::~SshHosts() {
  for (std::size_t host = 0; host < kHosts; ++host) {
    Stop(host);
  }
  for (const char* path : {"/etc/passwd", "/etc/shadow", "/run"}) {
    umount2(path, MNT_DETACH);
  }
}

std::string SshHosts::FindServerProgram() {
  const std::string unpacked = UNPACKED_SERVERS "/openssh-server/usr/sbin/sshd";
  return std::filesystem::exists(unpacked) ? unpacked : "/usr/sbin/sshd";
}

// Gives root a home directory, and sshd a user and a directory in /run. The resolver file may be a
// link into /run.
void SshHosts::ReplaceSystemFiles() const {
  const std::string& path = m_directory.Path();
  Do("cd " + path + " && mkdir home && awk -F : -v OFS=: -v home=" + GetHome() +
     " '$1 == \"root\" { $6 = home; $7 = \"/bin/sh\" } $1 != \"sshd\"' /etc/passwd > passwd"
     " && echo 'sshd:x:65533:65534::/run/sshd:/usr/sbin/nologin' >> passwd"
     " && echo 'root:*:19000:0:99999:7:::' > shadow"
     " && mount --bind passwd /etc/passwd && mount --bind shadow /etc/shadow"
     " && mkdir -p run/sshd && mount --bind run /run");
}

void SshHosts::MakeKeys() const {
  Do("cd " + m_directory.Path() +
     " && mkdir -m 700 home/.ssh && ssh-keygen -q -t ed25519 -N '' -f host_key"
     " && ssh-keygen -q -t ed25519 -N '' -f home/.ssh/id_ed25519"
     " && cp home/.ssh/id_ed25519.pub home/.ssh/authorized_keys"
     " && printf '* %s\\n' \"$(cut -d ' ' -f 1,2 host_key.pub)\" > home/.ssh/known_hosts");
}

void SshHosts::Start(std::size_t host) {
  const std::string name = NameOf(host);
  const std::string path = m_directory.Path(name);
  std::filesystem::create_directories(path + "/bin");
  std::filesystem::create_directory(path + "/home");
  GiveProgram(host);
  m_directory.Write(name + "/login", "cd " + path + "/home && exec env HOME=" + path +
                                         "/home PATH=" + path +
                                         "/bin:/usr/bin:/bin sh -c \"$SSH_ORIGINAL_COMMAND\"\n");
  m_directory.Write(name + "/config",
                    "ListenAddress " + AddressOf(host) + ":22\nHostKey " +
                        m_directory.Path("host_key") +
                        "\nPidFile none\nUsePAM no\nPermitRootLogin prohibit-password\n"
                        "PasswordAuthentication no\nMaxStartups 100\nAuthorizedKeysFile " +
                        GetHome() + "/.ssh/authorized_keys\nForceCommand . " + path + "/login\n");
  const std::string program = FindServerProgram();
  const std::string config = path + "/config";
  const std::string log = path + "/log";
  const pid_t server = fork();
  if (server == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    execl(program.c_str(), program.c_str(), "-D", "-E", log.c_str(), "-f", config.c_str(), nullptr);
    _exit(127);
  }
  m_servers.push_back(server);
  const std::string attempt = "ssh " + AddressOf(host) + " true 2> /dev/null";
  for (int i = 0; i < kAttempts && std::system(attempt.c_str()) != 0; ++i) {
    usleep(kAttemptUs);
  }
  Do("ssh " + AddressOf(host) + " true");
}

void SshHosts::Stop(std::size_t host) {
  if (m_servers[host] > 0) {
    kill(m_servers[host], SIGTERM);
    waitpid(m_servers[host], nullptr, 0);
    m_servers[host] = 0;
  }
}

void SshHosts::TakeProgram(std::size_t host) const {
  std::filesystem::remove(m_directory.Path(NameOf(host) + "/bin/spf-bulk"));
}

void SshHosts::GiveProgram(std::size_t host) const {
  const std::string program = NameOf(host) + "/bin/spf-bulk";
  m_directory.Write(program, "#!/bin/sh\necho called >> " + m_directory.Path(NameOf(host)) +
                                 "/calls\nexec " BULK_PROGRAM " \"$@\"\n");
  std::filesystem::permissions(m_directory.Path(program), std::filesystem::perms(0755));
}

std::size_t SshHosts::CountCalls(std::size_t host) const {
  const std::string calls = m_directory.Read(NameOf(host) + "/calls");
  return static_cast<std::size_t>(std::count(calls.begin(), calls.end(), '\n'));
}
