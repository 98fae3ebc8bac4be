// AddressRecord is one address of a resolved name: what the system needs to open a socket to it.
//
// A value type: a copy owns its own copy of the address bytes. Each thread uses records of its
// own, and nothing blocks.

#pragma once

#include <sys/socket.h>

#include <memory>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT AddressRecord {
 public:
  // Copies length bytes from address, a socket address of the given family (its port and address
  // in network byte order). family, socketType and protocol: as socket(2) takes them.
  AddressRecord(int family, int socketType, int protocol, const sockaddr* address, int length,
                const std::string& canonicalName);
  AddressRecord(const AddressRecord& other);
  AddressRecord& operator=(const AddressRecord& other);
  ~AddressRecord() = default;

  // As given to the constructor.
  int GetFamily() const { return m_family; }
  int GetSocketType() const { return m_socketType; }
  int GetProtocol() const { return m_protocol; }
  int GetLength() const { return m_length; }  // bytes

  // GetLength() bytes, owned by the record.
  const unsigned char* GetAddress() const { return m_address.get(); }

  // The host's full name; empty in what Socket::Resolve returns, which does not ask for it.
  const std::string& GetCanonicalName() const { return m_canonicalName; }

 private:
  int m_family;
  int m_socketType;
  int m_protocol;
  int m_length;
  std::unique_ptr<unsigned char[]> m_address;
  std::string m_canonicalName;
};
