// Writes names into a DNS message (RFC 1035, section 4.1.4), in full or ending in a pointer to a
// name written earlier, at random, and knows what it wrote.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/property/Random.h"
#include "tests/support/ReplyBuilder.h"

using Labels = std::vector<std::string>;

std::string Dotted(const Labels& labels);

// Up to 63 bytes, of those that neither end a name nor begin a pointer, without a dot.
std::string AnyLabel(Random& random);

class NameWriter {
 public:
  // Takes it that labels stand in full at a position of the message already.
  NameWriter(Random& random, const Labels& labels, std::uint32_t position);

  // A new name of at most 255 bytes, as often as not with the end of one written before.
  Labels AnyName();

  // The bytes of labels as they are to stand at a position of the message. Not for the root.
  Bytes Write(const Labels& labels, std::uint32_t position);
  Bytes WriteInFull(const Labels& labels, std::uint32_t position);

 private:
  Bytes Write(Labels labels, std::uint32_t position, bool mayPoint);

  Random& m_random;
  std::map<Labels, std::uint32_t> m_written;  // names and their ends, by position
};
