#include "programs/spf-policyd/DomainList.h"

#include <algorithm>

#include "framework/Utilities/StringUtilities.h"
#include "framework/core/Exceptions.h"
#include "programs/spf-policyd/SettingText.h"
#include "tool/SenderCheck.h"

DomainList::DomainList(const std::string& text) {
  for (const std::string& item : SplitCommaList(text)) {
    const bool hasSubdomains = item.front() == '.';
    const std::string name = item.substr(hasSubdomains ? 1 : 0);
    if (name.empty() || SenderCheck::DomainOf(name) != name) {
      throw StdException("not a domain: " + item);
    }
    m_items.push_back({ToLower(name), hasSubdomains});
  }
}

bool DomainList::Has(const std::string& domain) const {
  const std::string name = ToLower(domain);
  return std::ranges::any_of(m_items, [&](const Item& item) {
    return name == item.name || (item.hasSubdomains && name.ends_with("." + item.name));
  });
}

std::vector<std::string> DomainList::GetNames() const {
  std::vector<std::string> names;
  for (const Item& item : m_items) {
    names.push_back(item.name);
  }
  return names;
}
