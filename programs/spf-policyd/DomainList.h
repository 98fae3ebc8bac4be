// DomainList is a set of domains, of which each may stand for all below it, too.
//
// A value type that never changes: any thread may ask.

#pragma once

#include <string>
#include <vector>

class DomainList {
 public:
  // Reads domains separated by commas; ".example.org" is example.org and all domains below it.
  // Throws a StdException that names the one that is not a domain.
  explicit DomainList(const std::string& text);

  // Returns whether the list has `domain`, in whatever case it is written.
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
