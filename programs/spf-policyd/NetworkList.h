// NetworkList is a set of IPv4 and IPv6 networks.
//
// An immutable value type: any thread may use it.

#pragma once

#include <array>
#include <string>
#include <vector>

class NetworkList {
 public:
  // Reads networks such as "192.0.2.0/24", or "192.0.2.7" for a single host, separated by commas.
  // Throws a StdException that names an item that is not a network, or has a bit set after its
  // prefix.
  explicit NetworkList(const std::string& text);

  // Returns whether a network contains `address`; false for a text that is not an address.
  bool Has(const std::string& address) const;

 private:
  using Bytes = std::array<unsigned char, 16>;

  struct Network {
    int family;
    Bytes bytes;
    int prefix;
  };

  static Network Parse(const std::string& text);
  static bool ReadAddress(const std::string& text, int& family, Bytes& bytes);
  static Bytes Mask(const Bytes& bytes, int prefix);

  std::vector<Network> m_networks;
};
