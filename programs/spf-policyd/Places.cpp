#include "programs/spf-policyd/Places.h"

#include <algorithm>
#include <utility>

#include "framework/Utilities/StringUtilities.h"

Places::Place::Place(Places& places, std::string client, std::string domain)
    : m_places(&places), m_client(std::move(client)), m_domain(std::move(domain)) {}

Places::Place::Place(Place&& other) noexcept
    : m_places(std::exchange(other.m_places, nullptr)),
      m_client(std::move(other.m_client)),
      m_domain(std::move(other.m_domain)) {}

Places::Place::~Place() {
  if (m_places != nullptr) {
    m_places->Release(m_client, m_domain);
  }
}

Places::Places(std::size_t count) : m_count(count) {}

std::optional<Places::Place> Places::Take(const std::string& client, const std::string& domain,
                                          bool isExempt) {
  std::string group = GroupOf(domain);
  const std::size_t share = std::max<std::size_t>(m_count / 10, 1);
  const Mutex guard(m_mutex, true);
  const std::size_t left = m_count - m_taken;
  const bool isScarce = left * 2 < m_count;
  if (left == 0 || (isScarce && !isExempt &&
                    (ShareOf(m_clients, client) >= share || ShareOf(m_domains, group) >= share))) {
    return std::nullopt;
  }
  ++m_taken;
  ++m_clients[client];
  ++m_domains[group];
  return std::optional<Place>(std::in_place, *this, client, std::move(group));
}

std::size_t Places::GetTaken() const {
  const Mutex guard(m_mutex, true);
  return m_taken;
}

void Places::Release(const std::string& client, const std::string& domain) {
  const Mutex guard(m_mutex, true);
  --m_taken;
  Leave(m_clients, client);
  Leave(m_domains, domain);
}

std::size_t Places::ShareOf(const Shares& shares, const std::string& name) {
  const auto found = shares.find(name);
  return found != shares.end() ? found->second : 0;
}

void Places::Leave(Shares& shares, const std::string& name) {
  const auto found = shares.find(name);
  if (--found->second == 0) {
    shares.erase(found);
  }
}

std::string Places::GroupOf(const std::string& domain) {
  const std::string name = ToLower(domain);
  const std::size_t last = name.rfind('.');
  if (last == std::string::npos || last == 0) {
    return name;
  }
  const std::size_t second = name.rfind('.', last - 1);
  if (second == std::string::npos) {
    return name;
  }
  const bool isRegistry = name.size() - last == 3 && last - second <= 4;
  const std::size_t third = second == 0 ? std::string::npos : name.rfind('.', second - 1);
  const std::size_t before = isRegistry ? third : second;
  return before == std::string::npos ? name : name.substr(before + 1);
}
