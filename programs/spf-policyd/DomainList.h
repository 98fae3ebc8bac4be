// DomainList is a set of domains; each may include all domains below it.
//
// An immutable value type: any thread may use it.

#pragma once

#include <string>
#include <vector>

class DomainList {
 public:
  // Reads domains separated by commas; ".example.org" means example.org and all domains below it.
  // Throws a StdException that names an item that is not a domain.
  explicit DomainList(const std::string& text);

  // Returns whether the list has `domain`, regardless of case.
  bool Has(const std::string& domain) const;

  // Returns the domains, in lower case and without a leading dot.
  std::vector<std::string> GetNames() const;

 private:
  struct Item {
    std::string name;
    bool hasSubdomains;
  };

  std::vector<Item> m_items;
};
