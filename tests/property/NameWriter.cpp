#include "tests/property/NameWriter.h"

#include <iterator>

namespace {

constexpr std::uint32_t kPointer = 0xC000;
constexpr std::uint32_t kFirstOutOfReach = 0x4000;

}  // namespace

std::string Dotted(const Labels& labels) {
  std::string name;
  for (const std::string& label : labels) {
    name += (name.empty() ? "" : ".") + label;
  }
  return name;
}

std::string AnyLabel(Random& random) {
  const int longest = random.OneIn(5) ? 63 : 4;
  std::string label(static_cast<std::size_t>(random.Between(1, longest)), '\0');
  const int last = random.OneIn(2) ? 127 : 191;
  for (char& c : label) {
    c = static_cast<char>(random.Between(1, last));
    c = c == '.' ? '-' : c;
  }
  return label;
}

NameWriter::NameWriter(Random& random, const Labels& labels, std::uint32_t position)
    : m_random(random) {
  WriteInFull(labels, position);
}

Labels NameWriter::AnyName() {
  Labels name;
  if (m_random.OneIn(2)) {
    const auto skipped = m_random.Between<std::size_t>(0, m_written.size() - 1);
    name = std::next(m_written.begin(), static_cast<std::ptrdiff_t>(skipped))->first;
  }
  for (int more = m_random.Between(name.empty() ? 1 : 0, 3); more > 0; --more) {
    const std::string label = AnyLabel(m_random);
    if (Dotted(name).size() + label.size() < 253) {
      name.insert(name.begin(), label);
    }
  }
  return name;
}

Bytes NameWriter::Write(const Labels& labels, std::uint32_t position) {
  return Write(labels, position, true);
}

Bytes NameWriter::WriteInFull(const Labels& labels, std::uint32_t position) {
  return Write(labels, position, false);
}

Bytes NameWriter::Write(Labels labels, std::uint32_t position, bool mayPoint) {
  Bytes bytes;
  while (!labels.empty()) {
    const auto written = m_written.find(labels);
    if (mayPoint && written != m_written.end() && m_random.OneIn(2)) {
      const std::uint32_t pointer = kPointer + written->second;
      bytes.push_back(static_cast<unsigned char>(pointer / 256));
      bytes.push_back(static_cast<unsigned char>(pointer % 256));
      return bytes;
    }
    const auto here = position + static_cast<std::uint32_t>(bytes.size());
    if (here < kFirstOutOfReach) {
      m_written[labels] = here;
    }
    const std::string& label = labels.front();
    bytes.push_back(static_cast<unsigned char>(label.size()));
    bytes.insert(bytes.end(), label.begin(), label.end());
    labels.erase(labels.begin());
  }
  bytes.push_back(0);
  return bytes;
}
