// The address functions of Socket compared with 64-bit arithmetic and with octets.

#include <arpa/inet.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "framework/net/Socket.h"
#include "tests/property/Random.h"

namespace {

constexpr std::uint64_t kAddresses = 4294967296;

using Octets = std::array<unsigned int, 4>;

in_addr_t ToNetworkOrder(std::uint64_t address) {
  return htonl(static_cast<std::uint32_t>(address));
}

std::string TextOf(std::uint64_t address) {
  return inet_ntoa({ToNetworkOrder(address)});
}

in_addr_t ToNetworkOrder(const Octets& octets) {
  return ToNetworkOrder(((octets[0] * 256ULL + octets[1]) * 256 + octets[2]) * 256 + octets[3]);
}

// Returns an address that is often near one end of the address space.
std::uint64_t AnyAddress(Random& random) {
  const int bits = random.Between(0, 32);
  const std::uint64_t distance = random.Between<std::uint64_t>(0, (1ULL << bits) - 1);
  return random.OneIn(2) ? distance : kAddresses - 1 - distance;
}

// A prefix counts modulo 2^32. A range is empty if its prefix is 0 or above 32, or if it would go
// beyond the last address.
bool IsInPlainRange(std::uint64_t network, std::uint64_t prefix, std::uint64_t candidate) {
  prefix %= kAddresses;
  if (network == 0 || prefix == 0 || prefix > 32) {
    return false;
  }
  const std::uint64_t end = network + (1ULL << (32 - prefix));
  return end <= kAddresses && network <= candidate && candidate < end;
}

std::uint64_t AnyPrefix(Random& random) {
  const std::uint64_t small = random.Between<std::uint64_t>(0, 40);
  if (random.OneIn(10)) {
    return random.Between<std::uint64_t>(0, 1000000000000);
  }
  return random.OneIn(10) ? kAddresses + small : small;
}

void ExpectRange(const std::string& range, std::uint64_t candidate, bool inside) {
  const std::string text = TextOf(candidate);
  EXPECT_EQ(Socket::IsInRange(range, ToNetworkOrder(candidate)), inside) << range << " " << text;
  EXPECT_EQ(Socket::IsInRange(range, text.c_str()), inside) << range << " " << text;
}

// Returns nothing for a range that is refused.
std::optional<bool> IsInRange(const std::string& range, std::uint64_t candidate) {
  try {
    return Socket::IsInRange(range, ToNetworkOrder(candidate));
  } catch (const std::invalid_argument& exception) {
    EXPECT_STREQ(exception.what(), "non-digit character");
    return std::nullopt;
  }
}

std::optional<bool> IsInPlainRange(std::uint64_t network, const std::string& prefix,
                                   std::uint64_t candidate) {
  if (prefix.empty() || network == 0) {
    return false;
  }
  if (prefix.find_first_not_of("0123456789") != std::string::npos) {
    return std::nullopt;
  }
  return IsInPlainRange(network, std::stoull(prefix), candidate);
}

// Clears octets of `address` one by one, from the last to the second.
bool IsSamePlainNetwork(const Octets& network, const Octets& address) {
  Octets cleared = address;
  for (std::size_t i = 4; i > 0; --i) {
    if (network == cleared) {
      return true;
    }
    cleared[i - 1] = 0;
  }
  return false;
}

bool IsPlainPublic(const Octets& octets) {
  return octets[0] != 10 && octets[0] != 127 &&
         !(octets[0] == 172 && octets[1] >= 16 && octets[1] <= 31) &&
         !(octets[0] == 192 && octets[1] == 168);
}

}  // namespace

TEST(AddressTest, ARangeHasAsManyAddressesAsItsPrefixSays) {
  Random random;
  for (int i = 0; i < 5000 && !testing::Test::HasFailure(); ++i) {
    const std::uint64_t network = AnyAddress(random);
    const std::uint64_t prefix = AnyPrefix(random);
    const std::uint64_t size = prefix <= 32 ? 1ULL << (32 - prefix) : 0;
    const std::string zeros(random.Between(0U, 2U), '0');
    const std::string range = TextOf(network) + "/" + zeros + std::to_string(prefix);
    const std::uint64_t inside =
        network + random.Between<std::uint64_t>(0, kAddresses >> 8) % (size + 1);
    const std::uint64_t anywhere = AnyAddress(random);
    for (const std::uint64_t candidate :
         {network - 1, network, network + 1, network + size - 2, network + size - 1, network + size,
          network + size + 1, inside, anywhere, std::uint64_t{0}, kAddresses - 1}) {
      const std::uint64_t wrapped = candidate % kAddresses;
      ExpectRange(range, wrapped, IsInPlainRange(network, prefix, wrapped));
    }
  }
}

TEST(AddressTest, ARangeWithoutAPrefixIsOneAddress) {
  Random random;
  for (int i = 0; i < 5000 && !testing::Test::HasFailure(); ++i) {
    const std::uint64_t network = AnyAddress(random);
    for (const std::uint64_t candidate : {network - 1, network, network + 1}) {
      const std::uint64_t wrapped = candidate % kAddresses;
      ExpectRange(TextOf(network), wrapped, network != 0 && wrapped == network);
    }
  }
}

TEST(AddressTest, APrefixWithOtherCharactersThanDigitsIsRefused) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    const std::uint64_t network = random.OneIn(10) ? 0 : AnyAddress(random);
    const std::string prefix = random.Text(random.OneIn(2) ? "0123" : "0123456789/.+- x", 4);
    const std::uint64_t candidate = network + random.Between<std::uint64_t>(0, 1);
    const std::string range = TextOf(network) + "/" + prefix;
    ASSERT_EQ(IsInRange(range, candidate % kAddresses),
              IsInPlainRange(network, prefix, candidate % kAddresses))
        << range << " " << TextOf(candidate % kAddresses);
  }
}

TEST(AddressTest, ANetworkIsTheAddressWithUpToThreeTrailingOctetsCleared) {
  Random random;
  for (int i = 0; i < 20000; ++i) {
    Octets address{};
    for (unsigned int& octet : address) {
      octet = random.OneIn(3) ? 0 : random.Between(0U, 255U);
    }
    Octets network = address;
    for (std::size_t octet = random.Between(0U, 4U); octet < 4; ++octet) {
      network[octet] = 0;
    }
    if (random.OneIn(3)) {
      const unsigned int octet = random.Between(0U, 3U);
      network[octet] = random.Between(0U, 2U);
    }
    const in_addr_t number = ToNetworkOrder(network);
    const std::string text = TextOf(ntohl(number));
    const bool same = IsSamePlainNetwork(network, address);
    ASSERT_EQ(Socket::IsSameNetwork(number, ToNetworkOrder(address)), same)
        << text << " " << testing::PrintToString(address);
    ASSERT_EQ(Socket::IsSameNetwork(text.c_str(), ToNetworkOrder(address)), same)
        << text << " " << testing::PrintToString(address);
  }
}

TEST(AddressTest, TheFirstTwoOctetsTellWhetherAnAddressIsPublic) {
  Random random;
  for (unsigned int first = 0; first < 256; ++first) {
    for (unsigned int second = 0; second < 256; ++second) {
      const unsigned int third = random.Between(0U, 255U);
      const unsigned int fourth = random.Between(0U, 255U);
      const Octets octets = {first, second, third, fourth};
      ASSERT_EQ(Socket::IsPublicAddress(ToNetworkOrder(octets)), IsPlainPublic(octets))
          << testing::PrintToString(octets);
    }
  }
}

TEST(AddressTest, AReversedAddressHasItsOctetsBackwards) {
  Random random;
  for (int i = 0; i < 5000; ++i) {
    const std::uint64_t address = AnyAddress(random);
    const std::uint64_t backwards = __builtin_bswap32(static_cast<std::uint32_t>(address));
    ASSERT_EQ(Socket::ReverseAddress(ToNetworkOrder(address)), TextOf(backwards));
  }
}
