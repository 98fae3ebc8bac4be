// SenderLine is one line of the input, "domain,ip,sender": it finds the fault of a malformed line,
// and the address and domain to check of a well-formed one.
//
// A view: the line must outlive it. Nothing blocks.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class SenderLine {
 public:
  static constexpr std::size_t kLongest = 1000;  // characters

  // The bytes of a line that show that it is too long even without a carriage return.
  static constexpr std::size_t kEnough = kLongest + 2;

  // The first line may be this one.
  static constexpr std::string_view kHeader = "domain,ip,sender";

  // `line`: without its line end.
  explicit SenderLine(std::string_view line);

  // Returns the fault of the line, without a comma; empty if it is well-formed.
  std::string_view GetFault() const { return m_fault; }

  // Return what to check for a well-formed line. The domain is that of a sender with an "@".
  std::string GetAddress() const { return std::string(m_address); }
  std::string GetDomain() const;

  // Returns `line` without the carriage return at its end, if there is one.
  static std::string_view WithoutCarriageReturn(std::string_view line);

 private:
  std::string_view FindFault(std::string_view line);

  std::string_view m_domain;
  std::string_view m_address;
  std::string_view m_sender;
  std::string_view m_fault;
};
