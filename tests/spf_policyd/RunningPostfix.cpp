#include "tests/spf_policyd/RunningPostfix.h"

#include <arpa/inet.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/support/Text.h"
#include "tests/support/Waiting.h"

namespace {

namespace fs = std::filesystem;

constexpr uid_t kUser = 64001;
constexpr gid_t kDropGroup = 64002;

sockaddr_in AddressOf(const std::string& host, unsigned short port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = inet_addr(host.c_str());
  return address;
}

// Makes an address one of this machine's.
void AddAddress(const std::string& host) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, 0);
  ifreq request{};
  // An alias of the interface, with its own name.
  std::snprintf(request.ifr_name, sizeof(request.ifr_name), "lo:%u",
                ntohl(inet_addr(host.c_str())) % 10007);
  const sockaddr_in address = AddressOf(host, 0);
  std::copy_n(reinterpret_cast<const char*>(&address), sizeof(address),
              reinterpret_cast<char*>(&request.ifr_addr));
  ioctl(descriptor, SIOCSIFADDR, &request);
  close(descriptor);
}

// A client's side of SMTP.
class Dialogue {
 public:
  explicit Dialogue(const std::string& host) : m_descriptor(socket(AF_INET, SOCK_STREAM, 0)) {
    const timeval limit{.tv_sec = 20, .tv_usec = 0};
    setsockopt(m_descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
    const sockaddr_in own = AddressOf(host, 0);
    bind(m_descriptor, reinterpret_cast<const sockaddr*>(&own), sizeof(own));
    const sockaddr_in server = AddressOf(host, 25);
    if (connect(m_descriptor, reinterpret_cast<const sockaddr*>(&server), sizeof(server)) == 0) {
      m_reply = ReadReply();
    }
  }
  ~Dialogue() { close(m_descriptor); }

  Dialogue(const Dialogue&) = delete;
  Dialogue& operator=(const Dialogue&) = delete;

  // Sends a line, unless something was refused before.
  void Say(const std::string& line) {
    if (IsGood()) {
      const std::string text = line + "\r\n";
      send(m_descriptor, text.data(), text.size(), MSG_NOSIGNAL);
      m_reply = ReadReply();
    }
  }

  bool IsGood() const { return m_reply.starts_with('2') || m_reply.starts_with('3'); }

  // Returns the last line of the last reply.
  const std::string& Reply() const { return m_reply; }

 private:
  std::string ReadReply() const {
    std::string line = "000-";
    while (line.size() > 3 && line[3] == '-') {
      line.clear();
      for (char byte = 0; recv(m_descriptor, &byte, 1, 0) == 1 && byte != '\n';) {
        line += byte;
      }
    }
    return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
  }

  int m_descriptor;
  std::string m_reply;
};

}  // namespace

std::string SendMail(const std::string& client, const std::string& sender,
                     const std::vector<std::string>& recipients, const std::string& header) {
  AddAddress(client);
  Dialogue dialogue(client);
  dialogue.Say("EHLO client.test");
  dialogue.Say("MAIL FROM:<" + sender + ">");
  for (const std::string& recipient : recipients) {
    dialogue.Say("RCPT TO:<" + recipient + ">");
  }
  dialogue.Say("DATA");
  dialogue.Say(header + "Subject: test\r\n\r\ntext\r\n.");
  return dialogue.Reply();
}

std::string RunningPostfix::Directory() {
  return fs::exists(POSTFIX_DIRECTORY) ? POSTFIX_DIRECTORY : "";
}

RunningPostfix::RunningPostfix() {
  MakeUsers();
  MakeDirectories();
  Configure();
  setenv("LD_LIBRARY_PATH", (Directory() + "/usr/lib/postfix").c_str(), 1);
  setenv("MAIL_CONFIG", m_directory.Path("etc").c_str(), 1);
  m_master = std::make_unique<ChildProcess>(
      Directory() + "/usr/lib/postfix/sbin/master",
      std::vector<std::string>{"master", "-c", m_directory.Path("etc")}, "/");
  ComesTrue([] { return Dialogue("127.0.0.1").IsGood(); });
}

RunningPostfix::~RunningPostfix() {
  m_master->Signal(SIGTERM);
  m_master->Wait();
}

void RunningPostfix::MakeUsers() const {
  std::ofstream("/etc/passwd") << "root:x:0:0::/root:/bin/sh\n"
                                  "nobody:x:65534:65534::/:/bin/false\n"
                                  "postfix:x:64001:64001::/:/bin/false\n";
  std::ofstream("/etc/group") << "root:x:0:\nnogroup:x:65534:\npostfix:x:64001:\n"
                                 "postdrop:x:64002:\n";
}

void RunningPostfix::MakeDirectories() const {
  const auto make = [this](const std::string& name, uid_t user, gid_t group) {
    fs::create_directory(m_directory.Path(name));
    if (chown(m_directory.Path(name).c_str(), user, group) != 0) {
      std::perror(name.c_str());
    }
  };
  fs::permissions(m_directory.Path(), fs::perms(0755));
  make("etc", 0, 0);
  make("data", kUser, 0);
  make("mail", kUser, kUser);
  make("queue", 0, 0);
  make("queue/pid", 0, 0);
  for (const char* const name : {"active", "bounce", "corrupt", "defer", "deferred", "flush",
                                 "hold", "incoming", "private", "saved", "trace"}) {
    make(std::string("queue/") + name, kUser, 0);
  }
  make("queue/maildrop", kUser, kDropGroup);
  make("queue/public", kUser, kDropGroup);
}

void RunningPostfix::Configure() const {
  const std::string programs = Directory() + "/usr";
  m_directory.Write(
      "etc/main.cf",
      Lines({
          "compatibility_level = 3.6",
          "command_directory = " + programs + "/sbin",
          "daemon_directory = " + programs + "/lib/postfix/sbin",
          "shlib_directory = " + programs + "/lib/postfix",
          "queue_directory = " + m_directory.Path("queue"),
          "data_directory = " + m_directory.Path("data"),
          "maillog_file = " + m_directory.Path("maillog"),
          "maillog_file_prefixes = " + m_directory.Path(),
          "import_environment = LD_LIBRARY_PATH MAIL_CONFIG",
          "inet_protocols = ipv4",
          "myhostname = mail.test",
          "mydestination =",
          "mynetworks = 127.0.0.0/8",
          "alias_maps =",
          "local_recipient_maps =",
          "default_transport = discard",
          "virtual_mailbox_domains = mail.test",
          "virtual_mailbox_base = " + m_directory.Path("mail"),
          "virtual_mailbox_maps = inline:{ jane@mail.test=jane, joe@mail.test=joe }",
          "virtual_uid_maps = static:64001",
          "virtual_gid_maps = static:64001",
          "smtpd_peername_lookup = no",
          "smtpd_relay_restrictions =",
          "in_flow_delay = 0",
          "smtpd_recipient_restrictions = permit_mynetworks, permit_sasl_authenticated,",
          "  reject_unauth_destination,",
          "  check_policy_service { inet:127.0.0.1:10040, default_action=DUNNO }",
      }));
  m_directory.Write("etc/master.cf",
                    "25        inet  n  -  n  -  -  smtpd\n"
                    "cleanup   unix  n  -  n  -  0  cleanup\n"
                    "qmgr      unix  n  -  n  -  1  qmgr\n"
                    "rewrite   unix  -  -  n  -  -  trivial-rewrite\n"
                    "bounce    unix  -  -  n  -  0  bounce\n"
                    "defer     unix  -  -  n  -  0  bounce\n"
                    "discard   unix  -  -  n  -  -  discard\n"
                    "virtual   unix  -  n  n  -  -  virtual\n"
                    "anvil     unix  -  -  n  -  1  anvil\n"
                    "postlog   unix-dgram  n  -  n  -  1  postlogd\n");
}

std::vector<std::string> RunningPostfix::MailsOf(const std::string& user) const {
  const std::string begin = "From ";
  const std::string box = "\n" + m_directory.Read("mail/" + user);
  std::vector<std::string> mails;
  for (std::size_t at = 0; (at = box.find("\n" + begin, at)) != std::string::npos; ++at) {
    const std::size_t end = box.find("\n" + begin, at + 1);
    mails.push_back(box.substr(at + 1, end == std::string::npos ? end : end - at));
  }
  return mails;
}

std::vector<std::string> RunningPostfix::MailsOf(const std::string& user, std::size_t count) const {
  ComesTrue([&] { return MailsOf(user).size() >= count; });
  return MailsOf(user);
}
