#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "framework/Utilities/Encryption.h"
#include "tests/support/FailureText.h"

namespace {

using namespace std::string_literals;

std::string Encrypt(const std::string& key, const std::string& data) {
  std::string output;
  const Encryption run(key, data, output);
  return output;
}

// Returns bytes of all values, in an order unrelated to that of the cipher.
std::string SomeBytes(std::size_t length) {
  std::string bytes;
  std::uint32_t value = 12345;
  for (std::size_t i = 0; i < length; ++i) {
    value = value * 1664525 + 1013904223;
    bytes.push_back(static_cast<char>(value >> 24));
  }
  return bytes;
}

void ExpectEmptyKey(const std::function<void()>& call) {
  EXPECT_EQ(FailureText<std::invalid_argument>(call), "Encryption - empty key");
}

TEST(EncryptionTest, KnownKeysAndDataGiveKnownBytes) {
  const struct {
    std::string key;
    std::string data;
    std::string encrypted;
  } rows[] = {
      {"Key", "Plaintext", "\x56\x6c\x60\x6c\x6f\x76\x6d\x7a\x76"},
      {"\x80\xff\x01", "attack at dawn",
       "\x69\x74\x73\x67\x65\x6e\x29\x65\x78\x26\x63\x6b\x7e\x6a"},
      {"\xc3\xa9", "abc\0def\xff"s, "\x60\x62\x62\x03\x60\x64\x60\xf9"},
      {"\xfe", "\0\0\0\0\0\0\0"s, "\x05\x01\x06\0\0\x04\x01"s},
      {"key", "\0\0\0"s, "\0\0\0"s},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(Encrypt(row.key, row.data), row.encrypted) << row.data;
  }
}

TEST(EncryptionTest, AKeyByteAbove127CountsAsNegativeAndWrapsBeforeTheModulo) {
  // With 11 bytes, a modulo of the negative sum or an unsigned byte would give other results.
  const std::string zeros(11, '\0');
  EXPECT_EQ(Encrypt("\xff", zeros), "\x0a\x03\0\x08\x02\x09\x07\x0a\x07\x08\x01"s);
  EXPECT_EQ(Encrypt("\xf0", zeros), "\x01\x02\x09\x02\x01\x08\x07\x07\x09\x09\x05"s);
  EXPECT_EQ(Encrypt("\x80\xff", zeros), "\x04\x09\x03\x09\x06\x03\x02\x0a\x07\x06\0"s);
}

TEST(EncryptionTest, ALongKeyIsCutToTheLengthOfTheData) {
  EXPECT_EQ(Encrypt("a longer key than the data", "short"), "\x72\x68\x6b\x76\x76");
  EXPECT_EQ(Encrypt("a lon", "short"), "\x72\x68\x6b\x76\x76");
}

TEST(EncryptionTest, AStateEntryGivesItsLowEightBits) {
  const std::string encrypted = Encrypt("\x90secret", std::string(300, '\0'));
  ASSERT_EQ(encrypted.size(), 300U);
  EXPECT_EQ(encrypted.substr(0, 8), "\x09\xf3\x96\xb2\x68\x44\xbf\xd8");
  EXPECT_EQ(encrypted.substr(292), "\xc1\xf8\x90\x91\xb9\x26\x80\x2a");
}

TEST(EncryptionTest, AByteChangesByLessThanTheLengthOfTheDataSoAShortTextStaysLegible) {
  EXPECT_EQ(Encrypt("aA1bB2cC3dD4eE5f", "password"), "p`trwowe");
  for (std::size_t length = 1; length < 256; ++length) {
    const std::string data = SomeBytes(length);
    const std::string encrypted = Encrypt("Key", data);
    for (std::size_t at = 0; at < length; ++at) {
      ASSERT_LT(static_cast<unsigned char>(data[at] ^ encrypted[at]), length);
    }
  }
}

TEST(EncryptionTest, EncryptingTwiceWithOneKeyGivesTheDataBack) {
  for (const std::size_t length : std::initializer_list<std::size_t>{1, 2, 9, 256, 1000}) {
    const std::string data = SomeBytes(length);
    EXPECT_EQ(Encrypt("Key", Encrypt("Key", data)), data);
  }
  EXPECT_NE(Encrypt("other", Encrypt("Key", "Plaintext")), "Plaintext");
}

template <typename Byte>
class EncryptionFormsTest : public testing::Test {
 protected:
  const Byte* Key() const { return reinterpret_cast<const Byte*>(m_key.data()); }
  const Byte* Data() const { return reinterpret_cast<const Byte*>(m_data.data()); }
  Byte* Buffer() { return reinterpret_cast<Byte*>(m_buffer.data()); }

  const std::string m_key = "\x80\xff\x01";
  const std::string m_data = "attack at dawn";
  const std::string m_encrypted = "\x69\x74\x73\x67\x65\x6e\x29\x65\x78\x26\x63\x6b\x7e\x6a";
  // Has one byte more than the data, which must not change.
  const std::string m_untouched = std::string(14, '#') + "!";
  std::string m_buffer = m_untouched;
};

using ByteTypes = testing::Types<char, unsigned char>;
TYPED_TEST_SUITE(EncryptionFormsTest, ByteTypes);

TYPED_TEST(EncryptionFormsTest, ABufferGetsAsManyBytesAsTheData) {
  const Encryption bytesByBytes(this->Key(), 3, this->Data(), 14, this->Buffer());
  EXPECT_EQ(this->m_buffer, this->m_encrypted + "!");
  this->m_buffer = this->m_untouched;
  const Encryption bytesByString(this->m_key, this->Data(), 14, this->Buffer());
  EXPECT_EQ(this->m_buffer, this->m_encrypted + "!");
  this->m_buffer = this->m_untouched;
  const Encryption stringByString(this->m_key, this->m_data, this->Buffer());
  EXPECT_EQ(this->m_buffer, this->m_encrypted + "!");
}

TYPED_TEST(EncryptionFormsTest, AStringIsReplaced) {
  std::string output = "before";
  const Encryption bytesByBytes(this->Key(), 3, this->Data(), 14, output);
  EXPECT_EQ(output, this->m_encrypted);
  output.assign(100, '#');
  const Encryption bytesByString(this->m_key, this->Data(), 14, output);
  EXPECT_EQ(output, this->m_encrypted);
  output.assign(100, '#');
  const Encryption stringByString(this->m_key, this->m_data, output);
  EXPECT_EQ(output, this->m_encrypted);
}

TYPED_TEST(EncryptionFormsTest, ABufferIsEncryptedInPlace) {
  this->m_buffer = this->m_data + "!";
  const Encryption run(this->Key(), 3, this->Buffer(), 14, this->Buffer());
  EXPECT_EQ(this->m_buffer, this->m_encrypted + "!");
}

TYPED_TEST(EncryptionFormsTest, TheBufferMayBeTheKey) {
  this->m_buffer = this->m_key + "###########!";
  const Encryption run(this->Buffer(), 3, this->Data(), 14, this->Buffer());
  EXPECT_EQ(this->m_buffer, this->m_encrypted + "!");
}

TYPED_TEST(EncryptionFormsTest, TheBufferMayBeTheBytesOfTheKeyString) {
  const char* const encrypted = "\x56\x6c\x60\x6c\x6f\x76\x6d\x7a\x76";
  this->m_buffer = "KeyKeyKey";
  const Encryption byString(this->m_buffer, reinterpret_cast<const TypeParam*>("Plaintext"), 9,
                            this->Buffer());
  EXPECT_EQ(this->m_buffer, encrypted);
  this->m_buffer = "KeyKeyKey";
  const Encryption ofString(this->m_buffer, "Plaintext", this->Buffer());
  EXPECT_EQ(this->m_buffer, encrypted);
}

TYPED_TEST(EncryptionFormsTest, TheStringMayBeTheKey) {
  std::string text = this->m_key;
  const Encryption byBytes(reinterpret_cast<const TypeParam*>(text.data()), text.size(),
                           this->Data(), 14, text);
  EXPECT_EQ(text, this->m_encrypted);
  text = this->m_key;
  const Encryption byString(text, this->Data(), 14, text);
  EXPECT_EQ(text, this->m_encrypted);
  text = this->m_key;
  const Encryption ofString(text, this->m_data, text);
  EXPECT_EQ(text, this->m_encrypted);
}

TYPED_TEST(EncryptionFormsTest, WithoutDataABufferIsUnchanged) {
  const Encryption byBytes(this->Key(), 3, this->Data(), 0, this->Buffer());
  const Encryption byString(this->m_key, this->Data(), 0, this->Buffer());
  const Encryption ofString(this->m_key, "", this->Buffer());
  const Encryption withoutKey("", this->Data(), 0, this->Buffer());
  EXPECT_EQ(this->m_buffer, this->m_untouched);
}

TYPED_TEST(EncryptionFormsTest, WithoutDataAStringIsEmptied) {
  std::string output = "before";
  const Encryption byBytes(this->Key(), 3, this->Data(), 0, output);
  EXPECT_EQ(output, "");
  output = "before";
  const Encryption byString(this->m_key, this->Data(), 0, output);
  EXPECT_EQ(output, "");
  output = "before";
  const Encryption withoutKey("", "", output);
  EXPECT_EQ(output, "");
}

TYPED_TEST(EncryptionFormsTest, AnEmptyKeyIsRejectedAndTheOutputUnchanged) {
  std::string output = "before";
  ExpectEmptyKey([&] { Encryption(this->Key(), 0, this->Data(), 14, this->Buffer()); });
  ExpectEmptyKey([&] { Encryption(this->Key(), 0, this->Data(), 14, output); });
  ExpectEmptyKey([&] { Encryption("", this->Data(), 14, output); });
  ExpectEmptyKey([&] { Encryption("", this->m_data, output); });
  ExpectEmptyKey([&] { Encryption("", this->Data(), 14, this->Buffer()); });
  ExpectEmptyKey([&] { Encryption("", this->m_data, this->Buffer()); });
  EXPECT_EQ(output, "before");
  EXPECT_EQ(this->m_buffer, this->m_untouched);
}

TYPED_TEST(EncryptionFormsTest, DataLongerThan31BitsCanCountIsRejectedUnread) {
  EXPECT_EQ(FailureText<std::length_error>([this] {
              Encryption(this->m_key, this->Data(), std::size_t{1} << 31, this->Buffer());
            }),
            "Encryption - data too long");
}

TEST(EncryptionTest, AStringIsEncryptedInPlace) {
  std::string text = "attack at dawn";
  { const Encryption run("\x80\xff\x01", text, text); }
  EXPECT_EQ(text, "\x69\x74\x73\x67\x65\x6e\x29\x65\x78\x26\x63\x6b\x7e\x6a");
  const Encryption run("\x80\xff\x01", text, text);
  EXPECT_EQ(text, "attack at dawn");
}

TEST(EncryptionTest, ItCannotBeCopiedOrMovedAndHasAVirtualDestructor) {
  using Cipher = Encryption;
  EXPECT_FALSE(std::is_copy_constructible_v<Cipher> || std::is_move_constructible_v<Cipher>);
  EXPECT_FALSE(std::is_copy_assignable_v<Cipher> || std::is_move_assignable_v<Cipher>);
  EXPECT_TRUE(std::has_virtual_destructor_v<Cipher>);
}

TEST(EncryptionTest, XorRepeatsTheKeyOverTheData) {
  const struct {
    std::string key;
    std::string data;
    std::string output;
  } rows[] = {
      {"ab", "12345", "\x50\x50\x52\x56\x54"},
      {"\xff", "\x0f\xf0\0"s, "\xf0\x0f\xff"},
      {"a key longer than the data", "a k", "\0\0\0"s},
      {"\0"s, "same", "same"},
      {"key", "", ""},
      {"", "", ""},
  };
  for (const auto& row : rows) {
    std::string output = "what was there before";
    Encryption::Xor(row.key, row.data, output);
    EXPECT_EQ(output, row.output) << row.data;
  }
}

TEST(EncryptionTest, XorTwiceGivesTheDataBackInPlace) {
  std::string text = SomeBytes(100);
  Encryption::Xor("\x80key", text, text);
  EXPECT_NE(text, SomeBytes(100));
  Encryption::Xor("\x80key", text, text);
  EXPECT_EQ(text, SomeBytes(100));
}

TEST(EncryptionTest, XorRejectsAnEmptyKey) {
  std::string output = "before";
  ExpectEmptyKey([&] { Encryption::Xor("", "data", output); });
  EXPECT_EQ(output, "before");
}

}  // namespace
