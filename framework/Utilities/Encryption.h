// Encryption is a symmetric stream cipher over byte buffers: the same call encrypts and decrypts.
// Xor() is a plain exclusive-or with a repeated key.
//
// The cipher is RC4 with two differences: the state has as many entries as the data has bytes, not
// 256, and the bytes of the key are signed on every platform. So the output is not that of RC4, it
// depends on the length of the data, and a single byte stays unchanged. It protects only against a
// casual glance.
//
// The constructor does all the work. Any thread may make an object; nothing blocks. The key is not
// kept.

#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "framework/core/Export.h"

// The type of a buffer's elements.
template <typename T>
concept CipherByte = std::same_as<T, char> || std::same_as<T, unsigned char>;

class FWK_EXPORT Encryption {
 public:
  // Encrypts or decrypts `dataLength` bytes of `data` into `output`, which must have room for as
  // many and may be the same as `data` or `key`. Without data the key is not used. Throws
  // std::invalid_argument "Encryption - empty key", and std::length_error
  // "Encryption - data too long" for more than 2^31 - 1 bytes; `output` is then unchanged.
  template <CipherByte Byte>
  Encryption(const Byte* key, std::size_t keyLength, const Byte* data, std::size_t dataLength,
             Byte* output) {
    Run(Bytes(key, keyLength), Bytes(data, dataLength), reinterpret_cast<unsigned char*>(output));
  }

  // Does the same into a string, which gets the length of the data.
  template <CipherByte Byte>
  Encryption(const Byte* key, std::size_t keyLength, const Byte* data, std::size_t dataLength,
             std::string& output) {
    RunIntoString(Bytes(key, keyLength), Bytes(data, dataLength), output);
  }

  // Does the same with a string as the key, into a string.
  template <CipherByte Byte>
  Encryption(const std::string& key, const Byte* data, std::size_t dataLength,
             std::string& output) {
    RunIntoString(Bytes(key), Bytes(data, dataLength), output);
  }

  // Does the same with strings only.
  Encryption(const std::string& key, const std::string& data, std::string& output) {
    RunIntoString(Bytes(key), Bytes(data), output);
  }

  // Does the same with a string as the key.
  template <CipherByte Byte>
  Encryption(const std::string& key, const Byte* data, std::size_t dataLength, Byte* output) {
    Run(Bytes(key), Bytes(data, dataLength), reinterpret_cast<unsigned char*>(output));
  }

  // Does the same with strings, into a buffer.
  template <CipherByte Byte>
  Encryption(const std::string& key, const std::string& data, Byte* output) {
    Run(Bytes(key), Bytes(data), reinterpret_cast<unsigned char*>(output));
  }

  virtual ~Encryption();

  Encryption(const Encryption&) = delete;
  Encryption& operator=(const Encryption&) = delete;

  // Sets `output` to the exclusive-or of `data` and the repeated `key`. Throws
  // std::invalid_argument "Encryption - empty key" if `key` is empty and `data` is not.
  static void Xor(const std::string& key, const std::string& data, std::string& output);

 private:
  static std::span<const unsigned char> Bytes(const auto* first, std::size_t length) {
    return {reinterpret_cast<const unsigned char*>(first), length};
  }
  static std::span<const unsigned char> Bytes(const std::string& text) {
    return Bytes(text.data(), text.size());
  }

  void Run(std::span<const unsigned char> key, std::span<const unsigned char> data,
           unsigned char* output);
  void RunIntoString(std::span<const unsigned char> key, std::span<const unsigned char> data,
                     std::string& output);
  void Schedule(std::span<const unsigned char> key, std::uint32_t length);
  void Mix(std::uint32_t length);

  std::vector<std::int32_t> m_schedule;  // the key's bytes, repeated to the data's length
  std::vector<std::int32_t> m_state;     // a permutation of 0 to the data's length - 1
};
