// CacheMap remembers which keys it has seen, each with a rising stamp, and forgets the oldest when
// there are more than a limit. Keys that are inserted under the same explicit stamp are not
// limited.
//
// Thread-safe. Every operation takes the map's lock and throws if that fails (Locks.h); nothing
// else blocks.

#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>

#include "framework/core/Export.h"
#include "framework/core/Locks.h"
#include "framework/core/ThreadAnnotations.h"

template <typename Key>
class FWK_EXPORT CacheMap {
 public:
  // Asks Insert() for the stamp after the last one.
  static constexpr std::uint32_t kNextStamp = 0xFFFFFFFF;

  // Keeps at most `limit` keys, or all of them if `limit` is 0, and forgets the oldest `batch` at a
  // time. A batch that is not smaller than the limit becomes 1, permanently, when it is first used.
  // Throws std::invalid_argument "CacheMap - batch of 0" if there is a limit and `batch` is 0.
  CacheMap(std::uint32_t limit, std::uint32_t batch) : m_limit(limit), m_batch(batch) {
    if (limit != 0 && batch == 0) {
      throw std::invalid_argument("CacheMap - batch of 0");
    }
  }
  virtual ~CacheMap() noexcept(false) = default;

  CacheMap(const CacheMap&) = delete;
  CacheMap& operator=(const CacheMap&) = delete;

  // Inserts `key` as the newest, or under `stamp` if one is given; later stamps then count on from
  // there. Returns the stamp. A key with a low stamp may already be forgotten when this returns.
  //
  // If another key has `stamp` already, that key is still found by Find(), but it no longer ages or
  // counts towards the limit until it is inserted again.
  std::uint32_t Insert(const Key& key, std::uint32_t stamp = kNextStamp) {
    const MutexWrite guard(m_lock);
    const auto known = m_byKey.find(key);
    if (known != m_byKey.end()) {
      m_byStamp.erase(known->second);
      m_byKey.erase(known);
    }
    m_lastStamp = stamp != kNextStamp ? stamp : m_lastStamp + 1;
    m_byStamp[m_lastStamp] = key;
    m_byKey[key] = m_lastStamp;
    Trim();
    return m_lastStamp;
  }

  // Returns the stamp of `key`, or 0 if the map does not have it.
  std::uint32_t Find(const Key& key) const {
    const MutexRead guard(m_lock);
    const auto known = m_byKey.find(key);
    return known != m_byKey.end() ? known->second : 0;
  }

 private:
  void Trim() FWK_REQUIRES(m_lock) {
    while (m_limit != 0 && m_limit < m_byStamp.size()) {
      if (m_batch >= m_limit) {
        m_batch = 1;
      }
      for (std::uint32_t i = 0; i < m_batch && !m_byStamp.empty(); ++i) {
        m_byKey.erase(m_byStamp.begin()->second);
        m_byStamp.erase(m_byStamp.begin());
      }
    }
  }

  mutable MutexReadWriteInstance m_lock;
  std::uint32_t m_lastStamp FWK_GUARDED_BY(m_lock) = 0;
  const std::uint32_t m_limit;
  std::uint32_t m_batch FWK_GUARDED_BY(m_lock);
  std::map<std::uint32_t, Key> m_byStamp FWK_GUARDED_BY(m_lock);  // oldest first
  std::map<Key, std::uint32_t> m_byKey FWK_GUARDED_BY(m_lock);
};

extern template class CacheMap<std::string>;
