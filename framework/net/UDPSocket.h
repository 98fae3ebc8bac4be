// UDPSocket sends datagrams to one IPv4 peer and receives them, each transfer after a wait with a
// time-out. Beside that it has a small server side, which echoes one datagram at a time, and a
// client's probe for it.
//
// A wait needs a descriptor below 1024 and more than 1 MiB of stack. Where a program has some 1,019
// descriptors open, a new socket gets a higher one, and each of its waits throws. StringFormat
// makes the text of a time-out: on a thread with 1 MiB the first time-out ends the process by
// SIGSEGV.
//
// One thread at a time may use an object. Addresses are dotted-quad texts, ports decimal texts, of
// which the low 16 bits count, and time-outs milliseconds; one below 1 waits without limit.
//
// A wait that runs out throws a UDPSocketTimeoutException, a bad peer a UDPSocketException, every
// other failure a SocketException. Where a text below holds "(%s)" or "[%s]", the peer description
// stands, which is empty unless a subclass sets it.

#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

#include "framework/core/Export.h"
#include "framework/net/Socket.h"

class FWK_EXPORT UDPSocket : public Socket {
 public:
  // As Socket's constructor. 0 as descriptor: none yet.
  UDPSocket(int descriptor, int timeout);
  ~UDPSocket() noexcept(false) override;

  // Closes the descriptor, without a shutdown, and forgets it. With 0 nothing is done.
  void Destroy() override;

  // Receives up to length bytes into buffer and returns how many. fill: go on reading datagrams
  // until length bytes are there or nothing more is waiting; on a blocking socket each further
  // read waits without limit. Whoever sent the last datagram is the peer from then on. received:
  // what the last read brought, or after a harmless error all that was received; after a throw it
  // means nothing. Waits at most timeoutMs, once and only if the socket is one that waits (see
  // Connect). Throws as SelectReadWrite and CheckSocketStatus do.
  virtual int Receive(char* buffer, unsigned int length, unsigned int& received, int timeoutMs,
                      bool fill);

  // Sends length bytes to the peer and returns how many went. sent: what the last write took, 0
  // after a harmless error; after a throw of CheckSocketStatus it means nothing. Waits and throws
  // as Receive does. After a harmless error it repeats, on a socket that waits behind another wait,
  // on others at once and without end.
  virtual int Send(const char* buffer, unsigned int length, unsigned int& sent, int timeoutMs);

  // One recvfrom, whose sender becomes the peer; one sendto to the peer. Both return the system
  // call's result, the number of bytes or -1 with errno, and do not wait first: on a blocking
  // socket the call itself blocks.
  virtual ssize_t ReceiveRaw(char* buffer, unsigned int length);
  virtual ssize_t SendRaw(const char* buffer, unsigned int length);

  // Opens a socket and sets the peer; nothing is sent. nonBlocking: whether the socket is
  // non-blocking and from now on waits for readiness before each transfer; with false the waiting
  // stays as it was. Returns the peer's address, in network byte order. Throws as CreateSocket
  // does, and "UDPSocket::Connect - inet_addr() failed" for the address 0.0.0.0; the socket is then
  // open, with that peer. A text that is no address is accepted and means 255.255.255.255.
  in_addr_t Connect(const std::string& address, const std::string& port, bool nonBlocking);

  // Connect, then sends a random text of 16 characters and receives its echo, waiting at most
  // 60 s for each. What came back is the payload key from then on, and the peer is the socket that
  // answered, not the port that was probed: a server that uses Accept answers from another. With
  // nonBlocking false nothing limits the wait, and an echo shorter than the probe blocks for the
  // rest. Returns the peer's address as Connect does. Throws as Connect, Send and Receive do;
  // "UDPSocket::Connect - Send failed" and "UDPSocket::Connect - Receive failed" where a subclass's
  // transfer returns -1.
  in_addr_t ConnectAndProbe(const std::string& address, const std::string& port, bool nonBlocking);

  // Binds a blocking socket to port on all addresses; true when bound or when a descriptor is open
  // already. For a port of 1023 or less the effective and the real ids that SaveIdentity() found
  // are swapped before binding, and back only after a successful one. A change of ids that the
  // system refuses is passed over in silence. Throws as CreateSocket does, and "Listen - bind"; the
  // socket is then open and bound to nothing: Destroy() it before trying again.
  bool Listen(const std::string& port);

  // Serves one datagram of up to 1024 bytes, for which it waits without limit: prints
  // "Received packet from %s:%d\n" and "Data: %s\n" (the bytes up to a zero byte) on standard
  // output, opens reply's socket (nonBlocking as in Connect) with the sender as its peer and sends
  // the data back, waiting as Send does for at most 60 s. Whether bytes were sent back; for an
  // empty datagram none are. Throws "UDPSocket::Accept - recvfrom", and as CreateSocket and Send
  // do.
  bool Accept(UDPSocket& reply, bool nonBlocking);

  // A message goes as two datagrams: its length in bytes, 32 bits in network byte order, and its
  // bytes, run through the payload key if there is one. The length is sent with timeoutMs, the
  // bytes with 60 s. True when both sends moved bytes, so an empty message gives false. Waits and
  // throws as Send does.
  bool SendMessage(const std::string& message, int timeoutMs);

  // True when a whole message came; false, with message unchanged, when less or nothing came, or
  // when the memory for so many bytes cannot be had. The length that came is believed, up to 4 GiB:
  // memory is taken as bytes come, and a blocking socket goes on waiting until all of them have
  // come. The bytes are run through the payload key if there is one. Each wait takes timeoutMs; the
  // one for the bytes is made for a length of 0, too. Waits and throws as Receive does.
  bool ReceiveMessage(std::string& message, int timeoutMs);

  // Waits until descriptor can be read (reading true), or can be written or read. Returns the
  // number of ready descriptors. A signal starts the whole wait again.
  // Throws a UDPSocketTimeoutException
  //   "UDPSocket::SelectReadWrite - timed out (%d) while %s from the socket on (%s)"
  // (with error number 110 behind it) after timeoutMs, and a SocketException
  //   "UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE" for a descriptor above 1023,
  //   "UDPSocket::SelectReadWrite - result %d while %s from the socket on (%s)" otherwise,
  // where the second %s of each is the peer description and the first "reading" or "writing".
  int SelectReadWrite(int descriptor, bool reading, int timeoutMs);

  // Tells what errno means after a failed transfer. Returns it when it is harmless: 0, EINTR,
  // EAGAIN. Otherwise throws a SocketException with that error number and one of
  //   "UDPSocket::CheckSocketStatus - connection error %s from the socket [%s]"
  //      (EPIPE, ECONNABORTED, ECONNRESET),
  //   "UDPSocket::CheckSocketStatus - timed out while %s from the socket [%s]" (ETIMEDOUT),
  //   "UDPSocket::CheckSocketStatus - error %s from the socket [%s]".
  int CheckSocketStatus(bool reading);

  // Remembers the process's real and effective user and group ids for Listen, and sets them once
  // as a successful Listen does at its end. For the start of a program, before other threads run;
  // until then Listen changes no id. A refused change is passed over in silence. Setting the ids
  // makes the saved ones equal to the effective ones: a process whose saved and effective ids
  // differ cannot return to the saved ones, and may be unable to Listen below 1024 from then on.
  static void SaveIdentity();

 protected:
  sockaddr_in m_peer{};           // destination of every send, source of the last receive
  std::string m_peerDescription;  // for the texts of failures

 private:
  static constexpr int kLongTimeoutMs = 60000;

  static std::uint16_t ParsePort(const std::string& port);
  static sockaddr_in MakeAddress(in_addr_t address, std::uint16_t port);
  static std::string MakeProbe();

  void OpenSocket(bool nonBlocking);
};
