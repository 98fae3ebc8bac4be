#include "programs/spf-policyd/Places.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "framework/Utilities/StringUtilities.h"

namespace {

// The labels that registries of countries put between a name and the country.
constexpr std::string_view kRegistries[] = {"ac", "co",  "com", "edu", "gov",
                                            "ne", "net", "or",  "org"};

// Returns where the label before the one at `begin` begins; 0 if there is none.
std::size_t LabelBefore(const std::string& name, std::size_t begin) {
  const std::size_t dot = begin < 2 ? std::string::npos : name.rfind('.', begin - 2);
  return dot == std::string::npos ? 0 : dot + 1;
}

}  // namespace

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
  const std::size_t top = LabelBefore(name, name.size() + 1);
  const std::size_t second = LabelBefore(name, top);
  const bool isRegistry = top > second && name.size() - top == 2 &&
                          std::ranges::find(kRegistries, name.substr(second, top - second - 1)) !=
                              std::end(kRegistries);
  return name.substr(isRegistry ? LabelBefore(name, second) : second);
}
