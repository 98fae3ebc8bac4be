// CacheMap remembers which keys were seen, each with a rising stamp, and forgets the oldest when
// there are more than a limit. Keys that are inserted under one given stamp are not limited.
//
// Any thread may use it. Every operation takes the map's own lock, and throws where that fails
// (Locks.h); none blocks beyond it.

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
  // As Insert's stamp: the one after the last.
  static constexpr std::uint32_t kNextStamp = 0xFFFFFFFF;

  // limit: the largest number of keys kept; 0 means no limit. batch: how many of the oldest go at a
  // time; a batch as large as the limit, or larger, becomes 1 when it is first used, for good.
  // Throws std::invalid_argument "CacheMap - batch of 0" for a batch that would never bring a
  // limited map below its limit.
  CacheMap(std::uint32_t limit, std::uint32_t batch) : m_limit(limit), m_batch(batch) {
    if (limit != 0 && batch == 0) {
      throw std::invalid_argument("CacheMap - batch of 0");
    }
  }
  virtual ~CacheMap() noexcept(false) = default;

  CacheMap(const CacheMap&) = delete;
  CacheMap& operator=(const CacheMap&) = delete;

  // Makes key the newest, under the stamp after the last one, or puts it under the given stamp,
  // from which the next then counts on. Returns the stamp; a key under a low one may be forgotten
  // by then. A key that has the given stamp already is no longer found by age, but still by Find:
  // it no longer counts for the limit, and stays until it is inserted again and grows old.
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

  // The stamp of key; 0 when it is not there.
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
