// The exceptions of the framework, which report every failure.
//
// A handler for StdException catches all of them. An exception owns its text and may be copied,
// thrown and read on any thread; what() returns the text unchanged, without the name of the class.
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
// The UDP exceptions derive directly from StdException: a handler for SocketException does not
// catch them.
//
// Any thread may call the functions below; nothing blocks.

#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "framework/core/Export.h"

// Any failure of the framework.
class FWK_EXPORT StdException : public std::exception {
 public:
  // Makes an exception whose text is `message`.
  explicit StdException(const std::string& message);
  ~StdException() override;

  // Returns the text, which lives as long as the exception.
  const char* what() const noexcept override;

  // Returns the same as what().
  const char* GetMessage() const noexcept;

 private:
  std::string m_message;
};

// A function of the system failed; has its error number.
class FWK_EXPORT StdSystemException : public StdException {
 public:
  // Makes an exception with the error number `code` and the text `message`.
  StdSystemException(std::int32_t code, const std::string& message);

  // Takes the code from errno before doing anything else; the text is
  // FormatSystemError(function, code).
  explicit StdSystemException(const std::string& function);
  ~StdSystemException() override;

  // Returns the error number: errno, or what the failed function returned.
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

// Checks the `result` of a function that returns its error code, as those of POSIX threads do.
// Returns true if it equals `expected`. Otherwise throws a StdSystemException whose code is
// `result` and whose text is `function`, " returned " and `result`. A null `function` is called
// "unknown function".
FWK_EXPORT bool CheckReturnCode(int result, const char* function, int expected);

// Returns the text for a failed system call: `where`, " :: failed with code ", `code`, ": " and the
// system's text for `code`. If `where` is empty, returns only the system's text.
FWK_EXPORT std::string FormatSystemError(const std::string& where, int code);
