// Encryption is a symmetric stream cipher over byte buffers: the same call encrypts and decrypts.
// Beside it stands Xor, a plain repeating-key exclusive-or.
//
// It is RC4 with a state as large as the data (not 256) whose entries are integers, and with key
// bytes taken as signed, on every platform. So its output matches no standard RC4, data of another
// length encrypts differently as a rule, and a single byte stays as it is. It protects against a
// casual glance only.
//
// An object lives for one run, made by its constructor; any thread may make one, and nothing
// blocks. Keys always come from the caller and are not kept.

#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "framework/core/Export.h"

// What a buffer is made of.
template <typename T>
concept CipherByte = std::same_as<T, char> || std::same_as<T, unsigned char>;

class FWK_EXPORT Encryption {
 public:
  // Each form runs the cipher once over data into output, with lengths in bytes. A buffer given as
  // output has room for dataLength bytes; a string gets that length. The output may be the data or
  // the key itself. Without data no byte is written and the key is not looked at. Otherwise an
  // empty key throws std::invalid_argument "Encryption - empty key", and more than 2^31 - 1 bytes
  // of data std::length_error "Encryption - data too long"; the output is then as it was.
  template <CipherByte Byte>
  Encryption(const Byte* key, std::size_t keyLength, const Byte* data, std::size_t dataLength,
             Byte* output) {
    Run(Bytes(key, keyLength), Bytes(data, dataLength), reinterpret_cast<unsigned char*>(output));
  }

  // As the first, into a string.
  template <CipherByte Byte>
  Encryption(const Byte* key, std::size_t keyLength, const Byte* data, std::size_t dataLength,
             std::string& output) {
    RunIntoString(Bytes(key, keyLength), Bytes(data, dataLength), output);
  }

  // As the first, with a string as key, into another.
  template <CipherByte Byte>
  Encryption(const std::string& key, const Byte* data, std::size_t dataLength,
             std::string& output) {
    RunIntoString(Bytes(key), Bytes(data, dataLength), output);
  }

  // As the first, with strings alone.
  Encryption(const std::string& key, const std::string& data, std::string& output) {
    RunIntoString(Bytes(key), Bytes(data), output);
  }

  // As the first, with a string as key.
  template <CipherByte Byte>
  Encryption(const std::string& key, const Byte* data, std::size_t dataLength, Byte* output) {
    Run(Bytes(key), Bytes(data, dataLength), reinterpret_cast<unsigned char*>(output));
  }

  // As the first, of a string, into a buffer.
  template <CipherByte Byte>
  Encryption(const std::string& key, const std::string& data, Byte* output) {
    Run(Bytes(key), Bytes(data), reinterpret_cast<unsigned char*>(output));
  }

  virtual ~Encryption();

  Encryption(const Encryption&) = delete;
  Encryption& operator=(const Encryption&) = delete;

  // output becomes data with the key's bytes, repeated, exclusive-ored into it. Without data the
  // output is empty; otherwise an empty key throws as above.
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
