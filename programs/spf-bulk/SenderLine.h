// SenderLine is one line of the input: "domain,ip,sender", which are the domain, the IPv4 address
// of the host that wants to send, and the envelope sender. It tells what is wrong with a line, and
// what is to be checked for one that is well-formed.
//
// A view: it keeps references to the line. Nothing blocks.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

class SenderLine {
 public:
  static constexpr std::size_t kLongest = 1000;  // characters

  // So many bytes of a line are enough to see that it is too long, a carriage return included.
  static constexpr std::size_t kEnough = kLongest + 2;

  // The first line may be this.
  static constexpr std::string_view kHeader = "domain,ip,sender";

  // `line`: without its line end.
  explicit SenderLine(std::string_view line);

  // Returns what is wrong with the line, in words without a comma; empty when it is well-formed.
  std::string_view GetFault() const { return m_fault; }

  // Return what a well-formed line asks for. The domain is that of the sender, if it has an "@".
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
