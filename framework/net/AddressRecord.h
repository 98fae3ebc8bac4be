// AddressRecord is one address of a resolved name, with what a program needs to open a socket to
// it.
//
// A value type: each copy owns a copy of the address bytes. Nothing blocks.

#pragma once

#include <sys/socket.h>

#include <memory>
#include <string>

#include "framework/core/Export.h"

class FWK_EXPORT AddressRecord {
 public:
  // Copies `length` bytes of `address`, a socket address of `family` in network byte order. The
  // first three arguments are those of socket(2).
  AddressRecord(int family, int socketType, int protocol, const sockaddr* address, int length,
                const std::string& canonicalName);
  AddressRecord(const AddressRecord& other);
  AddressRecord& operator=(const AddressRecord& other);
  ~AddressRecord() = default;

  // Return the constructor's arguments.
  int GetFamily() const { return m_family; }
  int GetSocketType() const { return m_socketType; }
  int GetProtocol() const { return m_protocol; }
  int GetLength() const { return m_length; }  // bytes

  // Returns GetLength() bytes, owned by the record.
  const unsigned char* GetAddress() const { return m_address.get(); }

  // Returns the full name of the host. Socket::Resolve() does not ask for it and leaves it empty.
  const std::string& GetCanonicalName() const { return m_canonicalName; }

 private:
  int m_family;
  int m_socketType;
  int m_protocol;
  int m_length;
  std::unique_ptr<unsigned char[]> m_address;
  std::string m_canonicalName;
};
