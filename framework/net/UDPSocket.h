// UDPSocket exchanges datagrams with one IPv4 peer and waits with a time-out before each transfer.
// It also has a small server side, which echoes one datagram at a time, and a client that probes
// it.
//
// A wait needs a descriptor below 1024 and more than 1 MiB of stack. If a program has some 1,019
// descriptors open, a new socket gets a higher one, and each of its waits throws. The text of a
// time-out is made by StringFormat: on a thread with 1 MiB of stack the first time-out ends the
// process by SIGSEGV.
//
// One thread at a time may use an object. Addresses are dotted quads. Ports are decimal texts, of
// which the low 16 bits count. Time-outs are in milliseconds; one below 1 waits without a limit.
//
// A time-out throws a UDPSocketTimeoutException, a bad peer a UDPSocketException, and every other
// failure a SocketException. In the texts below "(%s)" and "[%s]" stand for the peer description,
// which is empty unless a subclass sets it.

#pragma once

#include <netinet/in.h>
#include <sys/types.h>

#include <cstdint>
#include <string>

#include "framework/core/Export.h"
#include "framework/net/Socket.h"

class FWK_EXPORT UDPSocket : public Socket {
 public:
  // Takes the arguments of Socket's constructor; a descriptor of 0 means none yet.
  UDPSocket(int descriptor, int timeout);
  ~UDPSocket() noexcept(false) override;

  // Closes the descriptor, if it is not 0, without shutting it down; it is 0 from then on.
  void Destroy() override;

  // Receives up to `length` bytes into `buffer` and returns how many. If `fill` is true, reads
  // datagrams until `length` bytes are there or no datagram is ready; on a blocking socket every
  // read after the first blocks without a limit. The sender of the last datagram becomes the peer.
  // `received` is the size of the last datagram, or of all after a harmless error (see
  // CheckSocketStatus()), and undefined after an exception.
  //
  // Waits once, at most `timeoutMs`, if the socket waits at all (see Connect()). Throws as
  // SelectReadWrite() and CheckSocketStatus() do.
  virtual int Receive(char* buffer, unsigned int length, unsigned int& received, int timeoutMs,
                      bool fill);

  // Sends `length` bytes to the peer and returns how many were sent. `sent` is the size of the last
  // write, 0 after a harmless error, and undefined after an exception of CheckSocketStatus(). Waits
  // and throws as Receive() does. After a harmless error it tries again: after another wait if the
  // socket waits, otherwise at once and without a limit.
  virtual int Send(const char* buffer, unsigned int length, unsigned int& sent, int timeoutMs);

  // Calls recvfrom(2) once and returns its result; does not wait first, but blocks if the socket
  // does. The sender becomes the peer.
  virtual ssize_t ReceiveRaw(char* buffer, unsigned int length);

  // Calls sendto(2) once and returns its result; does not wait first, but blocks if the socket
  // does.
  virtual ssize_t SendRaw(const char* buffer, unsigned int length);

  // Opens a socket and sets the peer, but sends nothing. Returns the peer's address, in network
  // byte order. If `nonBlocking` is true, the socket is non-blocking and the object waits before
  // each transfer from then on; otherwise the object keeps waiting or not waiting, as before.
  //
  // A text that is not an address means 255.255.255.255. Throws as CreateSocket() does, and
  // "UDPSocket::Connect - inet_addr() failed" for the address 0.0.0.0; the socket is then open,
  // with that peer.
  in_addr_t Connect(const std::string& address, const std::string& port, bool nonBlocking);

  // Calls Connect(), then sends a random text of 16 characters and receives its echo. The text that
  // came back is the payload key from then on, and its sender is the peer: a server that uses
  // Accept() answers from another port than the one that was probed. Returns what Connect()
  // returns.
  //
  // Waits at most 60 s to send and 60 s to receive; if `nonBlocking` is false, it may block without
  // a limit, also for the rest of an echo that is too short. Throws as Connect(), Send() and
  // Receive() do, and "UDPSocket::Connect - Send failed" or "UDPSocket::Connect - Receive failed"
  // if the Send() or Receive() of a subclass returns -1.
  in_addr_t ConnectAndProbe(const std::string& address, const std::string& port, bool nonBlocking);

  // Binds a blocking socket to `port` on all addresses and returns true; does nothing but return
  // true if a descriptor is open already.
  //
  // For a port of 1023 or less it first swaps the effective and the real ids that SaveIdentity()
  // found, and swaps them back only after success. It ignores a change of ids that the system
  // refuses. Throws as CreateSocket() does, and "Listen - bind"; the socket is then open but not
  // bound: call Destroy() before trying again.
  bool Listen(const std::string& port);

  // Blocks until a datagram comes, of which it takes up to 1024 bytes. Prints
  // "Received packet from %s:%d\n" and "Data: %s\n" (the bytes up to a zero byte) on standard
  // output, opens the socket of `reply` as Connect() does, with the sender as the peer, and sends
  // the data back. Returns whether it sent any bytes; false for an empty datagram. Waits at most
  // 60 s to send. Throws "UDPSocket::Accept - recvfrom", and as CreateSocket() and Send() do.
  bool Accept(UDPSocket& reply, bool nonBlocking);

  // Sends `message` as two datagrams: its length in bytes, as 32 bits in network byte order, and
  // its bytes, encrypted with the payload key if there is one. Returns whether both sent any bytes;
  // false for an empty message. Waits and throws as Send() does, with `timeoutMs` for the length
  // and 60 s for the bytes.
  bool SendMessage(const std::string& message, int timeoutMs);

  // Receives a message that SendMessage() sent. Returns false, and leaves `message` unchanged, if
  // less or nothing came, or if there is not enough memory. The length that came is trusted, up to
  // 4 GiB: memory is taken as bytes come, and a blocking socket blocks until all bytes have come.
  // Waits and throws as Receive() does, `timeoutMs` each for the length and for the bytes, even for
  // a length of 0.
  bool ReceiveMessage(std::string& message, int timeoutMs);

  // Blocks until `descriptor` can be read or, if `reading` is false, read or written. Returns the
  // number of ready descriptors. A handled signal restarts the wait. Throws a
  // UDPSocketTimeoutException (with error number 110) after `timeoutMs`:
  //   "UDPSocket::SelectReadWrite - timed out (%d) while %s from the socket on (%s)"
  // Throws a SocketException for a descriptor above 1023, or if select(2) fails:
  //   "UDPSocket::SelectReadWrite - socket handle exceeds FD_SETSIZE"
  //   "UDPSocket::SelectReadWrite - result %d while %s from the socket on (%s)"
  // The first %s is "reading" or "writing".
  int SelectReadWrite(int descriptor, bool reading, int timeoutMs);

  // Evaluates errno after a failed transfer. Returns it if it is harmless: 0, EINTR or EAGAIN.
  // Otherwise throws a SocketException with it. For EPIPE, ECONNABORTED and ECONNRESET the text is
  //   "UDPSocket::CheckSocketStatus - connection error %s from the socket [%s]"
  // for ETIMEDOUT
  //   "UDPSocket::CheckSocketStatus - timed out while %s from the socket [%s]"
  // and for all other errors
  //   "UDPSocket::CheckSocketStatus - error %s from the socket [%s]"
  // The first %s is "reading" or "writing".
  int CheckSocketStatus(bool reading);

  // Remembers the real and effective user and group ids of the process for Listen(), and sets them
  // once, as a successful Listen() does in the end. Call it at the start of a program, before other
  // threads run; until then Listen() changes no ids. A change that the system refuses is ignored.
  //
  // Setting the ids makes the saved set-ids equal to the effective ones. A process whose saved and
  // effective ids differ cannot return to the saved ones, and may be unable to listen on a port
  // below 1024 from then on.
  static void SaveIdentity();

 protected:
  sockaddr_in m_peer{};           // where every send goes, and where the last receive came from
  std::string m_peerDescription;  // in the texts of exceptions

 private:
  static constexpr int kLongTimeoutMs = 60000;

  static std::uint16_t ParsePort(const std::string& port);
  static sockaddr_in MakeAddress(in_addr_t address, std::uint16_t port);
  static std::string MakeProbe();

  void OpenSocket(bool nonBlocking);
};
