#include "framework/Utilities/RandomString.h"

#include <cstdlib>
#include <ctime>
#include <stdexcept>

RandomString::RandomString(const int& length, const std::string& alphabet) {
  if (!m_seedDone.exchange(true)) {
    std::srand(static_cast<unsigned int>(std::time(nullptr)) + static_cast<unsigned int>(length));
  }
  if (length <= 0) {
    return;
  }
  if (alphabet.empty()) {
    throw std::invalid_argument("RandomString - empty alphabet");
  }
  m_text.reserve(static_cast<std::size_t>(length));
  for (int i = 0; i < length; ++i) {
    m_text.push_back(alphabet[static_cast<std::size_t>(std::rand()) % alphabet.size()]);
  }
}

RandomString::RandomString(const int& length, const char* alphabet)
    : RandomString(length, std::string(alphabet)) {}

RandomString::~RandomString() = default;

std::string RandomString::GetString() const {
  return m_text;
}
