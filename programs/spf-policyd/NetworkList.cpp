#include "programs/spf-policyd/NetworkList.h"

#include <arpa/inet.h>

#include <algorithm>

#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/SettingText.h"

namespace {

int BitsOf(int family) {
  return family == AF_INET ? 32 : 128;
}

}  // namespace

NetworkList::NetworkList(const std::string& text) {
  for (const std::string& item : SplitCommaList(text)) {
    m_networks.push_back(Parse(item));
  }
}

NetworkList::Network NetworkList::Parse(const std::string& text) {
  const std::size_t slash = text.find('/');
  Network network{};
  if (!ReadAddress(text.substr(0, slash), network.family, network.bytes)) {
    throw StdException("not a network: " + text);
  }
  const int bits = BitsOf(network.family);
  network.prefix = slash == std::string::npos ? bits : ReadDigits(text.substr(slash + 1), 3);
  if (network.prefix < 0 || network.prefix > bits) {
    throw StdException("not a prefix length of 0 to " + std::to_string(bits) + ": " + text);
  }
  if (Mask(network.bytes, network.prefix) != network.bytes) {
    throw StdException("a bit after the prefix is set: " + text);
  }
  return network;
}

bool NetworkList::ReadAddress(const std::string& text, int& family, Bytes& bytes) {
  family = text.find(':') == std::string::npos ? AF_INET : AF_INET6;
  return inet_pton(family, text.c_str(), bytes.data()) == 1;
}

NetworkList::Bytes NetworkList::Mask(const Bytes& bytes, int prefix) {
  Bytes masked{};
  for (int bit = 0; bit < prefix; ++bit) {
    const auto index = static_cast<std::size_t>(bit / 8);
    masked[index] = static_cast<unsigned char>(masked[index] | (bytes[index] & 0x80 >> bit % 8));
  }
  return masked;
}

bool NetworkList::Has(const std::string& address) const {
  int family = 0;
  Bytes bytes{};
  return ReadAddress(address, family, bytes) &&
         std::ranges::any_of(m_networks, [&](const Network& network) {
           return network.family == family && Mask(bytes, network.prefix) == network.bytes;
         });
}
