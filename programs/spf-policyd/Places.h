// Places limits the number of checks under way, and the share of each client and each domain: while
// less than half of the places are free, none may have more than a tenth of them. A domain counts
// together with its subdomains, by its last two labels, or by the last three if the two belong to a
// registry, such as "co.uk".
//
// Any thread may use it.

#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>

#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

class Places {
 public:
  // Holds a place while this object exists; the Places must outlive it.
  class Place {
   public:
    Place(Places& places, std::string client, std::string domain);
    Place(Place&& other) noexcept;
    ~Place();

    Place& operator=(Place&&) = delete;

   private:
    Places* m_places;
    std::string m_client;
    std::string m_domain;
  };

  explicit Places(std::size_t count);

  // Returns a place for a check of `client` and `domain`, or nothing if there is none for them.
  // `isExempt`: neither the share of the domain nor that of the client is limited.
  std::optional<Place> Take(const std::string& client, const std::string& domain, bool isExempt);

  // Returns the number of places that are held.
  std::size_t GetTaken() const;

  // Returns the domain whose share includes `domain`.
  static std::string GroupOf(const std::string& domain);

 private:
  using Shares = std::map<std::string, std::size_t>;

  static std::size_t ShareOf(const Shares& shares, const std::string& name);
  static void Leave(Shares& shares, const std::string& name);
  void Release(const std::string& client, const std::string& domain);

  const std::size_t m_count;
  mutable MutexInstance m_mutex{PTHREAD_MUTEX_RECURSIVE};
  std::size_t m_taken FWK_GUARDED_BY(m_mutex) = 0;
  Shares m_clients FWK_GUARDED_BY(m_mutex);
  Shares m_domains FWK_GUARDED_BY(m_mutex);
};
