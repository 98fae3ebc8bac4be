// The exceptions of the framework: one small tree that carries every failure.
//
// A handler for StdException catches all of them. Each holds its own text and may be copied,
// thrown and read on any thread; what() returns the text unchanged, without a class name in front.
//
//   StdException
//     StdSystemException            a POSIX thread function failed; carries its code
//     SocketException               a socket call failed
//       SocketClosedException       the peer closed the connection
//       RBLSocketException          a DNS blocklist answer could not be used
//     UDPSocketException            a UDP set-up or transfer failed
//       UDPSocketTimeoutException   a UDP wait timed out
//     ConfigException               the configuration file could not be used
//
// The UDP exceptions hang directly under StdException: a handler for SocketException does not
// catch them.

#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT StdException : public std::exception {
 public:
  explicit StdException(const std::string& message);
  ~StdException() override;

  const char* what() const noexcept override;

  // The same characters as what().
  const char* GetMessage() const noexcept;

 private:
  std::string m_message;
};

class FWK_EXPORT StdSystemException : public StdException {
 public:
  StdSystemException(std::int32_t code, const std::string& message);

  // Takes the code from errno, read before anything else is done; the text is
  // FormatSystemError(function, code).
  explicit StdSystemException(const std::string& function);
  ~StdSystemException() override;

  std::int32_t GetCode() const noexcept;

 private:
  StdSystemException(const std::string& function, std::int32_t code);

  std::int32_t m_code;
};

class FWK_EXPORT SocketException : public StdException {
 public:
  explicit SocketException(const std::string& message);
  ~SocketException() override;
};

class FWK_EXPORT SocketClosedException : public SocketException {
 public:
  explicit SocketClosedException(const std::string& message);
  ~SocketClosedException() override;
};

class FWK_EXPORT RBLSocketException : public SocketException {
 public:
  explicit RBLSocketException(const std::string& message);
  ~RBLSocketException() override;
};

class FWK_EXPORT UDPSocketException : public StdException {
 public:
  explicit UDPSocketException(const std::string& message);
  ~UDPSocketException() override;
};

class FWK_EXPORT UDPSocketTimeoutException : public UDPSocketException {
 public:
  explicit UDPSocketTimeoutException(const std::string& message);
  ~UDPSocketTimeoutException() override;
};

class FWK_EXPORT ConfigException : public StdException {
 public:
  explicit ConfigException(const std::string& message);
  ~ConfigException() override;
};

// For functions that return their error code, as those of POSIX threads do. Returns true when
// result equals expected; otherwise throws a StdSystemException whose code is result and whose
// text is the function's name, " returned " and the result. A null function is named
// "unknown function".
FWK_EXPORT bool CheckReturnCode(int result, const char* function, int expected);

// The text for a failed system call: where, " :: failed with code ", code, ": " and the system's
// text for code. An empty where gives the system's text alone.
FWK_EXPORT std::string FormatSystemError(const std::string& where, int code);
