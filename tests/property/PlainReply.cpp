#include "tests/property/PlainReply.h"

Answers PlainReply::Walk(std::uint32_t position) const {
  Answers answers;
  const unsigned int count = At(6) * 256 + At(7);
  for (unsigned int i = 0; i < count && position < m_reply.size(); ++i) {
    std::uint32_t consumed = 0;
    Name(position, consumed);
    position += consumed;
    const unsigned int type = At(position) * 256 + At(position + 1);
    const unsigned int rdLength = At(position + 8) * 256 + At(position + 9);
    position += 10;
    std::string value;
    if (type == 1) {
      value = Address(position, rdLength);
      position += rdLength;
    } else if (type == 16) {
      value = Text(position);
      position += static_cast<std::uint32_t>(value.size());
      position -= 1;
    } else if (type == 2 || type == 15) {
      value = Name(position, consumed);
      position += consumed;
    }
    answers.emplace_back(type, value);
  }
  return answers;
}

std::string PlainReply::Name(std::uint32_t position, std::uint32_t& consumed) const {
  unsigned char scratch[1024 + 1] = {};
  std::size_t gathered = 0;
  std::size_t jumps = 0;
  consumed = 1;
  while (At(position) != 0 && gathered < 1024 && jumps <= m_reply.size()) {
    if (At(position) > 191) {
      position = At(position) * 256 + At(position + 1) - 49152;
      ++jumps;
      continue;
    }
    scratch[gathered++] = static_cast<unsigned char>(At(position++));
    if (jumps == 0) {
      ++consumed;
    }
  }
  if (gathered == 0) {
    return "";
  }
  if (jumps > 0) {
    ++consumed;
  }
  for (std::size_t i = 0; i < gathered; ++i) {
    for (int left = scratch[i]; left > 0 && scratch[i + 1] != 0; --left, ++i) {
      scratch[i] = scratch[i + 1];
    }
    scratch[i] = '.';
  }
  return {scratch, scratch + gathered - 1};
}

unsigned int PlainReply::At(std::uint32_t position) const {
  return position < m_reply.size() ? m_reply[position] : 0;
}

std::string PlainReply::Text(std::uint32_t position) const {
  std::string text;
  for (++position; At(position) != 0; ++position) {
    text += static_cast<char>(At(position));
  }
  return text;
}

std::string PlainReply::Address(std::uint32_t position, unsigned int rdLength) const {
  std::string address;
  for (unsigned int i = 0; i < 4; ++i) {
    address += (i == 0 ? "" : ".") + std::to_string(i < rdLength ? At(position + i) : 0);
  }
  return address;
}
