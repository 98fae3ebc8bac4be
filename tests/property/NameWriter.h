// Writes names into a DNS message (RFC 1035, section 4.1.4), some of them ending in a pointer to a
// name that it wrote earlier.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/property/Random.h"
#include "tests/support/Bytes.h"

using Labels = std::vector<std::string>;

std::string Dotted(const Labels& labels);

// Returns up to 63 bytes, none of which is a dot, ends a name or begins a pointer.
std::string AnyLabel(Random& random);

class NameWriter {
 public:
  // Begins with `labels`, which are in the message at `position` in full.
  NameWriter(Random& random, const Labels& labels, std::uint32_t position);

  // Returns a name of at most 255 bytes; every other one ends as one that was written before.
  Labels AnyName();

  // Returns the bytes of `labels` at `position` of the message, or in full. Not for the root.
  Bytes Write(const Labels& labels, std::uint32_t position);
  Bytes WriteInFull(const Labels& labels, std::uint32_t position);

 private:
  Bytes Write(Labels labels, std::uint32_t position, bool mayPoint);

  Random& m_random;
  std::map<Labels, std::uint32_t> m_written;  // the position of each name and of its ends
};
