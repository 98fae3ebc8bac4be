// Places limits how many checks are under way, and keeps one client or one domain from taking all
// of them: while less than half of them are free, none may hold more than a tenth. A domain counts
// together with all of its subdomains, as its last two labels, or the last three where the two
// belong to a registry, as "co.uk" does.
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
  // A place that is held while this object exists; the Places must outlive it.
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

  // Returns a place for a check of `client` and `domain`, or nothing when there is none for them.
  // `isExempt`: the domain's share is not limited, nor that of the client that names it.
  std::optional<Place> Take(const std::string& client, const std::string& domain, bool isExempt);

  // Returns how many places are held.
  std::size_t GetTaken() const;

  // Returns the domain that the share of `domain` counts for.
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
