#include "framework/Utilities/Encryption.h"

#include <limits>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace {

void RejectEmptyKey(std::size_t keyLength) {
  if (keyLength == 0) {
    throw std::invalid_argument("Encryption - empty key");
  }
}

}  // namespace

Encryption::~Encryption() = default;

void Encryption::Xor(const std::string& key, const std::string& data, std::string& output) {
  if (!data.empty()) {
    RejectEmptyKey(key.size());
  }
  std::string result(data.size(), '\0');
  for (std::size_t i = 0; i < data.size(); ++i) {
    result[i] = static_cast<char>(key[i % key.size()] ^ data[i]);
  }
  output = std::move(result);
}

void Encryption::Run(std::span<const unsigned char> key, std::span<const unsigned char> data,
                     unsigned char* output) {
  if (data.empty()) {
    return;
  }
  RejectEmptyKey(key.size());
  if (data.size() > static_cast<std::size_t>(std::numeric_limits<std::int32_t>::max())) {
    throw std::length_error("Encryption - data too long");
  }
  const auto length = static_cast<std::uint32_t>(data.size());
  Schedule(key, length);
  Mix(length);
  const auto state = [this](std::uint32_t at) { return static_cast<std::uint32_t>(m_state[at]); };
  std::uint32_t i = 0;
  std::uint32_t j = 0;
  for (std::uint32_t position = 0; position < length; ++position) {
    i = (i + 1) % length;
    j = (j + state(i)) % length;
    std::swap(m_state[i], m_state[j]);
    const std::uint32_t t = (state(i) + state(j)) % length;
    output[position] = static_cast<unsigned char>(state(t) ^ data[position]);
  }
}

void Encryption::RunIntoString(std::span<const unsigned char> key,
                               std::span<const unsigned char> data, std::string& output) {
  std::string result(data.size(), '\0');
  Run(key, data, reinterpret_cast<unsigned char*>(result.data()));
  output = std::move(result);
}

void Encryption::Schedule(std::span<const unsigned char> key, std::uint32_t length) {
  m_schedule.resize(length);
  for (std::uint32_t i = 0; i < length; ++i) {
    m_schedule[i] = static_cast<signed char>(key[i % key.size()]);
  }
}

void Encryption::Mix(std::uint32_t length) {
  m_state.resize(length);
  std::iota(m_state.begin(), m_state.end(), 0);
  std::uint32_t j = 0;
  for (std::uint32_t i = 0; i < length; ++i) {
    // The output depends on a negative key byte wrapping around 2^32 before the modulo.
    j = (j + static_cast<std::uint32_t>(m_state[i]) + static_cast<std::uint32_t>(m_schedule[i])) %
        length;
    std::swap(m_state[i], m_state[j]);
  }
}
