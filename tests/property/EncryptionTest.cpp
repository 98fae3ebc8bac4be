// The ciphers compared with their rules in 64 bits.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "framework/Utilities/Encryption.h"
#include "tests/property/Random.h"

namespace {

std::string Encrypt(const std::string& key, const std::string& data) {
  std::string output;
  const Encryption run(key, data, output);
  return output;
}

std::string EncryptPlainly(const std::string& key, const std::string& data) {
  const auto n = static_cast<std::int64_t>(data.size());
  const auto at = [](std::int64_t index) { return static_cast<std::size_t>(index); };
  std::vector<std::int64_t> state;
  std::vector<std::int64_t> schedule;
  for (std::int64_t i = 0; i < n; ++i) {
    const int byte = static_cast<unsigned char>(key[at(i) % key.size()]);
    schedule.push_back(byte > 127 ? byte - 256 : byte);
    state.push_back(i);
  }
  std::int64_t j = 0;
  for (std::int64_t i = 0; i < n; ++i) {
    std::int64_t sum = j + state[at(i)] + schedule[at(i)];
    if (sum < 0) {
      sum += 4294967296;
    }
    j = sum % n;
    std::swap(state[at(i)], state[at(j)]);
  }
  std::string output(data.size(), '\0');
  std::int64_t i = 0;
  j = 0;
  for (std::int64_t position = 0; position < n; ++position) {
    i = (i + 1) % n;
    j = (j + state[at(i)]) % n;
    std::swap(state[at(i)], state[at(j)]);
    const std::int64_t t = (state[at(i)] + state[at(j)]) % n;
    const auto low = static_cast<unsigned char>(state[at(t)] % 256);
    output[at(position)] = static_cast<char>(low ^ static_cast<unsigned char>(data[at(position)]));
  }
  return output;
}

std::string Key(Random& random) {
  const std::size_t length = random.OneIn(10) ? random.Between(1U, 3000U) : random.Between(1U, 20U);
  std::string key = random.Bytes(length);
  if (random.OneIn(2)) {
    const std::size_t at = random.Between(std::size_t{0}, length - 1);
    key[at] = static_cast<char>(random.Between(128, 255));
  }
  return key;
}

// Returns data of any length, often short or about as long as a byte has values.
std::string Data(Random& random) {
  const std::size_t lengths[] = {
      1, 2, 3, 127, 128, 255, 256, 257, random.Between(4U, 20U), random.Between(1U, 2000U)};
  return random.Bytes(random.OneOf(lengths));
}

std::string Describe(const std::string& key, const std::string& data) {
  return "key " + testing::PrintToString(key) + ", data " + testing::PrintToString(data);
}

}  // namespace

TEST(EncryptionTest, DataIsEncryptedByTheRule) {
  Random random;
  for (int i = 0; i < 3000; ++i) {
    const std::string key = Key(random);
    const std::string data = Data(random);
    ASSERT_EQ(Encrypt(key, data), EncryptPlainly(key, data)) << Describe(key, data);
  }
}

TEST(EncryptionTest, LongDataIsEncryptedByTheRule) {
  Random random;
  for (const std::size_t length : {65535U, 65536U, 65537U, random.Between(65538U, 100000U)}) {
    const std::string key = Key(random);
    const std::string data = random.Bytes(length);
    ASSERT_TRUE(Encrypt(key, data) == EncryptPlainly(key, data))
        << "key of " << key.size() << ", data of " << length;
  }
}

TEST(EncryptionTest, EncryptingTwiceGivesTheDataBackInPlaceToo) {
  Random random;
  for (int i = 0; i < 3000; ++i) {
    const std::string key = Key(random);
    const std::string data = Data(random);
    ASSERT_EQ(Encrypt(key, Encrypt(key, data)), data) << Describe(key, data);
    std::string buffer = data;  // encrypted in place
    const Encryption once(key, buffer, buffer.data());
    ASSERT_EQ(buffer, Encrypt(key, data)) << Describe(key, data);
    const Encryption twice(key.data(), key.size(), buffer.data(), buffer.size(), buffer.data());
    ASSERT_EQ(buffer, data) << Describe(key, data);
  }
}

TEST(EncryptionTest, XorCombinesTheDataWithTheRepeatedKey) {
  Random random;
  for (int i = 0; i < 3000; ++i) {
    const std::string key = Key(random);
    const std::string data = Data(random);
    std::string expected = data;
    for (std::size_t at = 0; at < data.size(); ++at) {
      expected[at] = static_cast<char>(data[at] ^ key[at % key.size()]);
    }
    std::string output;
    Encryption::Xor(key, data, output);
    ASSERT_EQ(output, expected) << Describe(key, data);
  }
}
