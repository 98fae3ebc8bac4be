// Socket is the base of every network object: it owns one descriptor, sets its options, shuts it
// down and closes it, resolves names, and knows a few tests on IPv4 addresses. Such an address, as
// in_addr_t, is in network byte order.
//
// One thread at a time may use an object; the static operations are for any thread. Every failure
// throws a SocketException whose text is the place, " :: failed with code ", the error number,
// ": " and the system's text for it. Nothing here blocks, except Resolve, CheckBlocklist and, where
// a linger time is set, whatever closes the descriptor.

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
  // The number of Socket objects alive.
  inline static std::atomic<std::int32_t> m_nAccessCounter{0};

  // Opens nothing. descriptor: owned from now on; 0 or below means none. timeout: milliseconds.
  Socket(int descriptor, int timeout);

  // Destroy(). What that throws leaves the destructor; the descriptor then stays open, and
  // m_nAccessCounter one too high.
  virtual ~Socket() noexcept(false);

  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  // Takes over a descriptor, unchecked; 0 or below means none. The one held before is not closed.
  // Then as SocketNonBlocking(nonBlocking).
  virtual void SetSocket(const int& descriptor, bool nonBlocking);

  // Shuts the connection down and closes it; without a descriptor nothing is done, so it may be
  // called any number of times. Throws "Socket::Destroy() - shutdown" when the shutdown fails for
  // another reason than that nothing is connected (ENOTCONN); the descriptor is then still open.
  virtual void Destroy();

  // Opens a socket as socket(domain, type, protocol) does, then as SocketNonBlocking(nonBlocking).
  // A descriptor still held is closed first, through Close(). The new one is never 0: where
  // standard input is closed, it is above 2. Throws "Socket::CreateSocket - socket"; the descriptor
  // is then -1. When the second step throws it is open and held.
  virtual void CreateSocket(int domain, int type, int protocol, bool nonBlocking);

  // Closes the descriptor and forgets it. Returns what close() returned; a failure is not thrown.
  // Without a descriptor returns it (0 or -1) unchanged.
  virtual int Close();

  // true: sets O_NONBLOCK; throws "Socket::SocketNonBlocking - fcntl". While the object has no
  // descriptor and holds 0, this changes standard input. false: does nothing, so a non-blocking
  // socket stays one.
  void SocketNonBlocking(bool on);

  // SO_RCVTIMEO, then SO_SNDTIMEO, each given the time-out as a bare 4-byte number. A kernel that
  // insists on a timeval rejects that: on Linux this throws "SetSocketOptionsReadWrite", with the
  // second option untouched.
  void SetSocketOptionsReadWrite();

  // SO_KEEPALIVE, SO_LINGER and SO_REUSEADDR, switched on; the linger time is 5 seconds unless a
  // subclass changed it. Each throws its own name when the option is refused.
  void SetSocketOptionsKeepAlive();
  void SetSocketOptionsLinger();
  void SetSocketOptionsReUseAddress();

  // The addresses of host and service for a stream socket, in the resolver's order; passive: to
  // bind to, not to connect to. Blocks as long as the system resolver takes.
  //
  // An empty host with a service that is not empty asks no resolver: service is read as a decimal
  // port, kept as the object's port too, and one record comes back, for 0.0.0.0 (passive) or
  // 127.0.0.1. In all other cases the object's port becomes 0.
  // Throws "Socket::Resolve - " and the resolver's text; the error number behind it is errno as it
  // happens to stand, not the resolver's code.
  std::vector<AddressRecord> Resolve(const std::string& host, const std::string& service,
                                     bool passive);

  // Whether network is the address itself, or the address with its last one, two or three octets
  // cleared: up to three trailing zero octets of a network match any. The text form takes what
  // inet_addr takes.
  static bool IsSameNetwork(const in_addr_t& network, const in_addr_t& address);
  static bool IsSameNetwork(const char* network, const in_addr_t& address);

  // Whether address lies in the range that cidr, "network/prefix" or a network alone ("/32"),
  // starts: network <= address < network + 2^(32 - prefix). The network is not masked:
  // 192.0.2.10/24 is 192.0.2.10 to 192.0.3.9.
  //
  // No address lies in a range with an empty network or prefix, with the network 0.0.0.0, with a
  // prefix of 0 or above 32, or in one that runs past 255.255.255.255. Only the low 32 bits of a
  // prefix count: /4294967328 is taken as /32. A network, or in the text form an address, that
  // inet_addr cannot read counts as 255.255.255.255. Throws std::invalid_argument "non-digit
  // character" for a prefix that is not a number.
  static bool IsInRange(const std::string& cidr, const in_addr_t& address);
  static bool IsInRange(const std::string& cidr, const char* address);

  // The four octets from last to first, as the key of a DNS blocklist query (RFC 5782, section
  // 2.1): 1.2.3.4 gives "4.3.2.1".
  static std::string ReverseAddress(const in_addr_t& address);

  // False in 10.0.0.0/8, 127.0.0.0/8, 172.16.0.0/12 and 192.168.0.0/16, true elsewhere.
  static bool IsPublicAddress(const in_addr_t& address);

  // Asks a DNS blocklist (RFC 5782, section 2.1) through the system resolver whether key is listed
  // in zone, that is, whether key.zone has an address. key: for an IPv4 address what ReverseAddress
  // gives. Returns 1 when it is listed, with answer its first address, in 127.0.0.0/8, and 0 when
  // the name or an address of it does not exist; answer is then unchanged. Blocks as long as the
  // system resolver takes.
  //
  // Throws an RBLSocketException, with the name asked for, for every other outcome:
  //   "%s rbl %d %s"                 the resolver failed: name, its code and its text for it
  //   "response %d, %s rbl %d"       the address 0.0.0.0; both numbers are 0
  //   "invalid response (%s), %s rbl %d"  another address, which answer has, too; the number is 0
  // For the last two the resolver's list is not released: each such answer costs its memory until
  // the process ends, and a leak checker reports it.
  static std::uint32_t CheckBlocklist(const std::string& key, const std::string& zone,
                                      in_addr_t& answer);

  // Throw a SocketException for place where (code 0: with errno as it stands), and a
  // SocketClosedException with just the message.
  [[noreturn]] static void ThrowSocketError(const std::string& where, int code);
  [[noreturn]] static void ThrowSocketClosed(const std::string& message);

  // data, encrypted or decrypted with the payload key; unchanged while there is none.
  std::string ApplyKey(const std::string& data) const;

 protected:
  std::int32_t m_linger = 5;       // seconds
  std::int32_t m_wait = 0;         // non-zero: subclasses wait, with a time-out, before a transfer
  std::int32_t m_descriptor;       // 0 or below: none
  std::int32_t m_nonBlocking = 0;  // 1 once SocketNonBlocking(true) succeeded
  std::int32_t m_retryCount = 10;  // for subclasses
  std::int32_t m_timeout;          // milliseconds; for SetSocketOptionsReadWrite and subclasses
  std::uint16_t m_port = 0;        // host byte order
  std::string m_key;               // payload key; empty: payloads go as they are

 private:
  void SetOption(int option, const void* value, unsigned int length, const char* where);
};
