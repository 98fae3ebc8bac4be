// CacheMap compared with a list of all keys that is searched from end to end.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <list>
#include <string>

#include "framework/core/CacheMap.h"
#include "tests/property/Random.h"

namespace {

constexpr std::uint32_t kNextStamp = 0xFFFFFFFF;

class PlainMap {
 public:
  PlainMap(std::uint32_t limit, std::uint32_t batch) : m_limit(limit), m_batch(batch) {}

  std::uint32_t Insert(const std::string& key, std::uint32_t stamp) {
    const auto known = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const Entry& entry) { return entry.key == key; });
    if (known != m_entries.end()) {
      TakeOutOfAges(known->stamp);
      m_entries.erase(known);
    }
    ++m_last;
    if (stamp != kNextStamp) {
      m_last = stamp;
    }
    TakeOutOfAges(m_last);
    m_entries.push_back({.key = key, .stamp = m_last, .hasAge = true});
    while (m_limit != 0 && Ages() > m_limit) {
      m_batch = m_batch >= m_limit ? 1 : m_batch;
      for (std::uint32_t i = 0; i < m_batch; ++i) {
        ForgetOldest();
      }
    }
    return m_last;
  }

  std::uint32_t Find(const std::string& key) const {
    for (const Entry& entry : m_entries) {
      if (entry.key == key) {
        return entry.stamp;
      }
    }
    return 0;
  }

 private:
  struct Entry {
    std::string key;
    std::uint32_t stamp;
    bool hasAge;
  };

  void TakeOutOfAges(std::uint32_t stamp) {
    for (Entry& entry : m_entries) {
      entry.hasAge = entry.hasAge && entry.stamp != stamp;
    }
  }

  std::size_t Ages() const {
    return static_cast<std::size_t>(std::count_if(m_entries.begin(), m_entries.end(),
                                                  [](const Entry& entry) { return entry.hasAge; }));
  }

  void ForgetOldest() {
    auto oldest = m_entries.end();
    for (auto entry = m_entries.begin(); entry != m_entries.end(); ++entry) {
      if (entry->hasAge && (oldest == m_entries.end() || entry->stamp < oldest->stamp)) {
        oldest = entry;
      }
    }
    if (oldest != m_entries.end()) {
      m_entries.erase(oldest);
    }
  }

  std::uint32_t m_last = 0;
  std::uint32_t m_limit;
  std::uint32_t m_batch;
  std::list<Entry> m_entries;
};

// Returns mostly the next stamp, sometimes a low one or one just before the counter wraps.
std::uint32_t AnyStamp(Random& random) {
  if (!random.OneIn(4)) {
    return kNextStamp;
  }
  return random.OneIn(50) ? random.Between(0xFFFFFFF0, 0xFFFFFFFF) : random.Between(0U, 60U);
}

void ExpectTheSame(Random& random, std::uint32_t limit, std::uint32_t batch) {
  constexpr unsigned int kKeys = 30;
  CacheMap<std::string> map(limit, batch);
  PlainMap plain(limit, batch);
  for (int step = 0; step < 200; ++step) {
    const std::string key = std::to_string(random.Between(1U, kKeys));
    const std::uint32_t stamp = AnyStamp(random);
    ASSERT_EQ(map.Insert(key, stamp), plain.Insert(key, stamp)) << "step " << step;
    for (unsigned int i = 1; i <= kKeys; ++i) {
      ASSERT_EQ(map.Find(std::to_string(i)), plain.Find(std::to_string(i)))
          << "step " << step << ", key " << i;
    }
  }
}

}  // namespace

TEST(CacheMapTest, RandomInsertionsGiveTheStampsOfAPlainList) {
  Random random;
  for (int i = 0; i < 80 && !testing::Test::HasFailure(); ++i) {
    const std::uint32_t limit = random.Between(0U, 32U);
    const std::uint32_t batch = random.Between(1U, limit + 2);
    SCOPED_TRACE("limit " + std::to_string(limit) + ", batch " + std::to_string(batch));
    ExpectTheSame(random, limit, batch);
  }
}
