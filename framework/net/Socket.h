// Socket is the base of every network object: it owns a descriptor and sets its options, shuts it
// down and closes it. It also resolves names and tests IPv4 addresses. An address of type in_addr_t
// is in network byte order.
//
// One thread at a time may use an object; any thread may call the static operations. A failure
// throws a SocketException whose text is the one given below, " :: failed with code ", the error
// number, ": " and the system's text for it. Nothing blocks, except Resolve(), CheckBlocklist()
// and, if a linger time is set, closing the descriptor.

#pragma once

#include <netinet/in.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

#include "framework/core/Export.h"
#include "framework/net/AddressRecord.h"

class FWK_EXPORT Socket {
 public:
  // The number of Socket objects that exist.
  inline static std::atomic<std::int32_t> m_nAccessCounter{0};

  // Takes ownership of `descriptor`; 0 or less means none. `timeout` is in milliseconds.
  Socket(int descriptor, int timeout);

  // Calls Destroy(). If that throws, so does the destructor; the descriptor then stays open, and
  // m_nAccessCounter is one too high.
  virtual ~Socket() noexcept(false);

  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  // Takes ownership of `descriptor` without a check, then calls SocketNonBlocking(nonBlocking). 0
  // or less means none. Does not close the previous descriptor.
  virtual void SetSocket(const int& descriptor, bool nonBlocking);

  // Shuts the connection down and closes the descriptor; does nothing without one. Throws
  // "Socket::Destroy() - shutdown", and leaves the descriptor open, if the shutdown fails with
  // another error than ENOTCONN.
  virtual void Destroy();

  // Closes the current descriptor by Close(), opens a new one as socket(2) does, and calls
  // SocketNonBlocking(nonBlocking). The descriptor is never 0: if standard input is closed, it is
  // above 2. Throws "Socket::CreateSocket - socket", after which the descriptor is -1, or what
  // SocketNonBlocking() throws, after which it is open.
  virtual void CreateSocket(int domain, int type, int protocol, bool nonBlocking);

  // Closes the descriptor, which is 0 from then on, and returns the result of close(2); does not
  // throw. If there is no descriptor, returns its value, 0 or less.
  virtual int Close();

  // Sets O_NONBLOCK if `on` is true; throws "Socket::SocketNonBlocking - fcntl". Does nothing if
  // `on` is false, so a non-blocking socket stays non-blocking. Without a descriptor (0) it changes
  // standard input.
  void SocketNonBlocking(bool on);

  // Sets SO_RCVTIMEO, then SO_SNDTIMEO, to the time-out as a plain 4-byte number. Linux wants a
  // timeval, so there it always throws "SetSocketOptionsReadWrite", at the first option.
  void SetSocketOptionsReadWrite();

  // Sets SO_KEEPALIVE, SO_LINGER or SO_REUSEADDR. The linger time is 5 seconds unless a subclass
  // changes it. Throws the name of the operation if the system refuses the option.
  void SetSocketOptionsKeepAlive();
  void SetSocketOptionsLinger();
  void SetSocketOptionsReUseAddress();

  // Returns the addresses of `host` and `service` for a stream socket, in the order of the system
  // resolver; to bind to if `passive` is true, otherwise to connect to. Blocks as long as the
  // resolver does. Throws "Socket::Resolve - " and the resolver's text; the error number after it
  // is the current errno, not the resolver's code.
  //
  // If `host` is empty and `service` is not, no resolver is asked: `service` is a decimal port,
  // which becomes the object's port, and the only record is for 0.0.0.0 (passive) or 127.0.0.1. In
  // all other cases the object's port becomes 0.
  std::vector<AddressRecord> Resolve(const std::string& host, const std::string& service,
                                     bool passive);

  // Returns whether `network` equals `address`, or equals it after its last one, two or three
  // octets are set to 0. A text is read by inet_addr(3).
  static bool IsSameNetwork(const in_addr_t& network, const in_addr_t& address);
  static bool IsSameNetwork(const char* network, const in_addr_t& address);

  // Returns whether `address` is in the range `cidr`, which is "network/prefix", or "network" for a
  // prefix of 32. The range is not masked: it contains the 2^(32 - prefix) addresses from the
  // network on, so 192.0.2.10/24 is 192.0.2.10 to 192.0.3.9.
  //
  // A range contains no address if its network or prefix is empty, its network is 0.0.0.0, its
  // prefix is 0 or above 32, or it extends past 255.255.255.255. Only the low 32 bits of a prefix
  // count: /4294967328 is /32. A text that inet_addr(3) cannot read is 255.255.255.255. Throws
  // std::invalid_argument "non-digit character" for a prefix that is not a number.
  static bool IsInRange(const std::string& cidr, const in_addr_t& address);
  static bool IsInRange(const std::string& cidr, const char* address);

  // Returns the octets of `address` from last to first, which is the key of a blocklist query (RFC
  // 5782, section 2.1): "4.3.2.1" for 1.2.3.4.
  static std::string ReverseAddress(const in_addr_t& address);

  // Returns false for 10.0.0.0/8, 127.0.0.0/8, 172.16.0.0/12 and 192.168.0.0/16, otherwise true.
  static bool IsPublicAddress(const in_addr_t& address);

  // Asks the system resolver whether `key` is listed in the DNS blocklist `zone` (RFC 5782, section
  // 2.1), that is, whether the name `key`.`zone` has an address. The key of an IPv4 address is what
  // ReverseAddress() returns. Returns 1 if it is listed; `answer` is then the first address, in
  // 127.0.0.0/8. Returns 0, and leaves `answer` unchanged, if the name or its address does not
  // exist. Blocks as long as the resolver does.
  //
  // Throws an RBLSocketException, with the name that was asked for, in all other cases:
  //   "%s rbl %d %s"                      the resolver failed; its code and its text
  //   "response %d, %s rbl %d"            the address is 0.0.0.0; both numbers are 0
  //   "invalid response (%s), %s rbl %d"  another address, also in `answer`; the number is 0
  // In the last two cases the resolver's list is never released: it takes up memory until the
  // process ends, and a leak checker reports it.
  static std::uint32_t CheckBlocklist(const std::string& key, const std::string& zone,
                                      in_addr_t& answer);

  // Throws a SocketException with FormatSystemError(where, code); a `code` of 0 means errno.
  [[noreturn]] static void ThrowSocketError(const std::string& where, int code);

  // Throws a SocketClosedException whose text is `message`.
  [[noreturn]] static void ThrowSocketClosed(const std::string& message);

  // Returns `data`, encrypted or decrypted with the payload key if there is one.
  std::string ApplyKey(const std::string& data) const;

 protected:
  std::int32_t m_linger = 5;       // seconds
  std::int32_t m_wait = 0;         // not 0 if subclasses wait, with a time-out, before a transfer
  std::int32_t m_descriptor;       // 0 or less if there is none
  std::int32_t m_nonBlocking = 0;  // 1 after SocketNonBlocking(true)
  std::int32_t m_retryCount = 10;  // for subclasses
  std::int32_t m_timeout;          // milliseconds; for SetSocketOptionsReadWrite() and subclasses
  std::uint16_t m_port = 0;        // host byte order
  std::string m_key;               // the payload key; empty if payloads are not encrypted

 private:
  void SetOption(int option, const void* value, unsigned int length, const char* where);
};
