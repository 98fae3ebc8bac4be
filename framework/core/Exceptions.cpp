#include "framework/core/Exceptions.h"

#include <cerrno>
#include <cstring>
#include <string>  // not <sstream>: a program without streams starts with half the relocations

StdException::StdException(const std::string& message) : m_message(message) {}
StdException::~StdException() = default;

const char* StdException::what() const noexcept {
  return m_message.c_str();
}

const char* StdException::GetMessage() const noexcept {
  return what();
}

StdSystemException::StdSystemException(std::int32_t code, const std::string& message)
    : StdException(message), m_code(code) {}
StdSystemException::StdSystemException(const std::string& function)
    : StdSystemException(function, errno) {}
StdSystemException::StdSystemException(const std::string& function, std::int32_t code)
    : StdException(FormatSystemError(function, code)), m_code(code) {}
StdSystemException::~StdSystemException() = default;

std::int32_t StdSystemException::GetCode() const noexcept {
  return m_code;
}

SocketException::~SocketException() = default;
SocketClosedException::~SocketClosedException() = default;
RBLSocketException::~RBLSocketException() = default;
UDPSocketException::~UDPSocketException() = default;
UDPSocketTimeoutException::~UDPSocketTimeoutException() = default;
ConfigException::~ConfigException() = default;

bool CheckReturnCode(int result, const char* function, int expected) {
  if (result == expected) {
    return true;
  }
  const std::string name = function != nullptr ? function : "unknown function";
  throw StdSystemException(result, name + " returned " + std::to_string(result));
}

std::string FormatSystemError(const std::string& where, int code) {
  if (where.empty()) {
    return std::strerror(code);
  }
  return where + " :: failed with code " + std::to_string(code) + ": " + std::strerror(code);
}
