#include "programs/spf-policyd/Settings.h"

#include <unistd.h>

#include <array>
#include <climits>
#include <vector>

#include "framework/config/Config.h"
#include "framework/config/Environment.h"
#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/ConfigurationFile.h"
#include "programs/spf-policyd/ListenAddress.h"
#include "programs/spf-policyd/SettingText.h"
#include "tool/Printable.h"
#include "tool/SenderCheck.h"

namespace {

std::string NameOfSystem() {
  std::array<char, HOST_NAME_MAX + 1> name{};
  const bool isKnown = gethostname(name.data(), name.size() - 1) == 0 && name[0] != '\0';
  return isKnown ? name.data() : "localhost";
}

struct Key {
  const char* name;
  std::string fallback;
};

// Every key with its default.
const std::vector<Key>& Keys() {
  static const std::vector<Key> keys = {
      {"listen", "127.0.0.1:10040"},
      {"refuse", ""},
      {"skip", "127.0.0.0/8"},
      {"host", NameOfSystem()},
      {"time_limit", "20"},
      {"look_ups", "20"},
      {"connections", "1000"},
      {"trial", "1"},
      {"dns_server", ""},
      {"syslog", "0"},
      {"logging", "/var/log/" + Environment::PRODUCT_NAME + "/"},
      {"log_level", "3"},
  };
  return keys;
}

std::vector<std::string> KeyNames() {
  std::vector<std::string> names;
  for (const Key& key : Keys()) {
    names.emplace_back(key.name);
  }
  return names;
}

std::string Get(const std::string& name) {
  for (const Key& key : Keys()) {
    if (key.name == name) {
      return Config::GetString(name, key.fallback);
    }
  }
  throw StdException("no such setting: " + name);
}

int GetNumber(const std::string& name, int least, int most) {
  const std::string text = Get(name);
  const int number = ReadDigits(text, 6);
  if (number < least || number > most) {
    throw StdException("not a number of " + std::to_string(least) + " to " + std::to_string(most) +
                       ": " + text);
  }
  return number;
}

std::string GetHostName() {
  std::string name = Get("host");
  if (SenderCheck::DomainOf(name) != name || name.empty()) {
    throw StdException("not a host name: " + name);
  }
  return name;
}

std::string GetNameServer() {
  std::string address = Get("dns_server");
  if (!address.empty() && (!SenderCheck::IsAddress(address) || address == "0.0.0.0")) {
    throw StdException("not an IPv4 address: " + address);
  }
  return address;
}

std::string GetListenAddress() {
  std::string address = Get("listen");
  static_cast<void>(ListenAddress(address));  // throws if it is not one
  return address;
}

std::string GetLogLocation() {
  std::string location = Get("logging");
  if (!location.empty() && location.front() != '/') {
    throw StdException("not an absolute path: " + location);
  }
  return location;
}

}  // namespace

std::shared_ptr<const Settings> Settings::Load(const std::string& path) {
  const ConfigurationFile file(path, KeyNames());
  auto settings = std::make_shared<Settings>();
  const auto read = [&](const char* key, const auto& reader) {
    try {
      return reader();
    } catch (const StdException& e) {
      throw StdException(file.WhereIs(key) + ": " + key + ": " + ToPrintable(e.GetMessage(), 200));
    }
  };
  const auto number = [&](const char* key, int least, int most) {
    return read(key, [&] { return GetNumber(key, least, most); });
  };
  settings->listen = read("listen", GetListenAddress);
  settings->refuse = read("refuse", [] { return DomainList(Get("refuse")); });
  settings->skip = read("skip", [] { return NetworkList(Get("skip")); });
  settings->host = read("host", GetHostName);
  settings->timeLimit = std::chrono::seconds(number("time_limit", 1, 90));
  settings->lookUps = static_cast<std::uint32_t>(number("look_ups", 1, 1000));
  settings->connections = static_cast<std::size_t>(number("connections", 1, 10000));
  settings->isTrial = number("trial", 0, 1) == 1;
  settings->nameServer = read("dns_server", GetNameServer);
  settings->hasSyslog = number("syslog", 0, 1) == 1;
  settings->logging = read("logging", GetLogLocation);
  settings->logLevel = number("log_level", 0, 6);
  return settings;
}

std::vector<std::string> Settings::FindRestartKeys(const Settings& other) const {
  std::vector<std::string> keys;
  if (listen != other.listen) {
    keys.emplace_back("listen");
  }
  if (connections != other.connections) {
    keys.emplace_back("connections");
  }
  if (nameServer != other.nameServer) {
    keys.emplace_back("dns_server");
  }
  return keys;
}

std::string Settings::Describe() {
  std::string text;
  for (const Key& key : Keys()) {
    text += std::string(key.name) + "=" + ToPrintable(Get(key.name), 1024) + "\n";
  }
  return text;
}
