// The virtual operations of an object, which show what its class overrides.

#pragma once

#include <cstddef>
#include <cstring>
#include <set>
#include <vector>

// Returns the addresses of the first `count` virtual operations of `object`, in slot order.
template <typename Class>
std::vector<const void*> VirtualOperations(const Class& object, std::size_t count) {
  const void* const* table = nullptr;
  std::memcpy(&table, static_cast<const void*>(&object), sizeof(table));
  return std::vector<const void*>(table, table + count);
}

// Returns the slots in which `derived` has another operation than `base`.
inline std::set<std::size_t> DifferentSlots(const std::vector<const void*>& base,
                                            const std::vector<const void*>& derived) {
  std::set<std::size_t> slots;
  for (std::size_t slot = 0; slot < base.size(); ++slot) {
    if (base[slot] != derived[slot]) {
      slots.insert(slot);
    }
  }
  return slots;
}
