// DNSSocket is the DNS client: it asks the process's name server (dns_servers, port 53, UDP) for
// the records of one domain.
//
// Each look-up sends one query and takes the first reply; datagrams that wait together are read as
// one. Nothing is retried, cached (but the SPF text) or compared: a reply counts whoever sent it
// and whatever its ID, so use a name server on a path that you trust. A look-up blocks for at most
// 5 s to send and 5 s to receive; a signal that is handled meanwhile starts the wait again.
//
// A look-up needs more than 1 MiB of stack and a descriptor below 1024, as each wait of a UDPSocket
// does. On a thread with less stack the first time-out ends the process by SIGSEGV. Where a program
// has some 1,019 descriptors open, every look-up fails without an exception: it logs an Error, and
// its list is empty.
//
// Any thread may make an object; one thread at a time may use it.

#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

// The headers of config, dns and logging are here for the statics that look-ups use: so they exist
// before every static DNSSocket, and outlive it.
#include "framework/config/Config.h"
#include "framework/config/Environment.h"
#include "framework/core/Export.h"
#include "framework/core/Locks.h"
#include "framework/dns/NameServer.h"
#include "framework/logging/Logger.h"
#include "framework/net/UDPSocket.h"

class FWK_EXPORT DNSSocket : public UDPSocket {
 public:
  // domain: asked for in every look-up, as SanitiseUtf8 leaves it. Fills dns_servers when it is
  // empty: from the last nameserver line of /etc/resolv.conf, else from the configuration key
  // "dns_server", else with the public resolver 9.9.9.9. Meanwhile other threads wait.
  explicit DNSSocket(const std::string& domain);
  ~DNSSocket() noexcept(false) override;

  // Fill out with the values of the domain's records of one type, in the order of the reply: dotted
  // quads, host names, texts, each cleaned as SanitiseUtf8 does. Return 0 in every case: a list
  // that is empty or short is all that tells of a failure. A time-out is logged as Debug, what
  // else is thrown on the way as Error, a domain too long for a query included; a reply with an
  // error code or without answers is not.
  // Throw only what UDPSocket::Connect throws, for a name server of 0.0.0.0 and when no socket can
  // be had; out is then as it was. The socket stays open until the next look-up or the end of the
  // object.
  int GetARecords(std::vector<std::string>& out);
  int GetNSRecords(std::vector<std::string>& out);
  int GetTXTRecords(std::vector<std::string>& out);

  // The domain's TXT text that contains "v=spf", the last one if there are several; empty if there
  // is none. Asks unless a look-up of this object has found one already. Throws as above.
  std::string GetSPFRecord();

 private:
  static void LoadNameServer();
  static std::string GetNameServer();

  int ConnectAndQuery(std::vector<std::string>& out, const unsigned short& type);
  int DoQuery(std::vector<std::string>& out, const unsigned short& type);
  void Exchange(std::vector<std::string>& out, unsigned short type);
  void CollectAnswers(std::span<const unsigned char> reply, std::uint32_t answerStart,
                      std::vector<std::string>& out);

  // Held while dns_servers is loaded or read. It does not guard what a program writes there.
  inline static MutexReadWriteInstance m_nameServerLock;

  std::string m_domain;
  std::string m_spfRecord;
};
