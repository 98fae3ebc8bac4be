// The exceptions of the framework: one small tree that carries every failure.
//
// A handler for StdException catches all of them. Each holds its own text and may be copied,
// thrown and read on any thread; what() returns the text unchanged, without a class name in front.
//
//   StdException
//     StdSystemException
//     SocketException
//       SocketClosedException
//       RBLSocketException
//     UDPSocketException
//       UDPSocketTimeoutException
//     ConfigException
//
// The UDP exceptions hang directly under StdException: a handler for SocketException does not
// catch them.
//
// Any thread may call the functions below; nothing here blocks.

#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "framework/core/Export.h"

// A failure, with its text.
class FWK_EXPORT StdException : public std::exception {
 public:
  // Holds a copy of `message`, the text.
  explicit StdException(const std::string& message);
  ~StdException() override;

  // The text; it lives as long as the exception.
  const char* what() const noexcept override;

  // The same characters as what().
  const char* GetMessage() const noexcept;

 private:
  std::string m_message;
};

// A POSIX thread function failed; carries its error number.
class FWK_EXPORT StdSystemException : public StdException {
 public:
  // code: an error number of the system. message: the text.
  StdSystemException(std::int32_t code, const std::string& message);

  // Takes the code from errno, read before anything else is done; the text is
  // FormatSystemError(function, code).
  explicit StdSystemException(const std::string& function);
  ~StdSystemException() override;

  // The error number: errno's, or what the failed function returned.
  std::int32_t GetCode() const noexcept;

 private:
  StdSystemException(const std::string& function, std::int32_t code);

  std::int32_t m_code;
};

// A socket call failed.
class FWK_EXPORT SocketException : public StdException {
 public:
  using StdException::StdException;
  ~SocketException() override;
};

// The peer closed the connection.
class FWK_EXPORT SocketClosedException : public SocketException {
 public:
  using SocketException::SocketException;
  ~SocketClosedException() override;
};

// A DNS blocklist answer could not be used.
class FWK_EXPORT RBLSocketException : public SocketException {
 public:
  using SocketException::SocketException;
  ~RBLSocketException() override;
};

// A UDP set-up or transfer failed.
class FWK_EXPORT UDPSocketException : public StdException {
 public:
  using StdException::StdException;
  ~UDPSocketException() override;
};

// A UDP wait timed out.
class FWK_EXPORT UDPSocketTimeoutException : public UDPSocketException {
 public:
  using UDPSocketException::UDPSocketException;
  ~UDPSocketTimeoutException() override;
};

// The configuration file could not be used.
class FWK_EXPORT ConfigException : public StdException {
 public:
  using StdException::StdException;
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
