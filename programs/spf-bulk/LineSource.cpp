#include "programs/spf-bulk/LineSource.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

#include "framework/core/Exceptions.h"

namespace {

constexpr std::size_t kBufferSize = std::size_t{64} * 1024;

}  // namespace

LineSource::LineSource(int descriptor, std::size_t limit, const std::string& name, int hangUp)
    : m_descriptor(descriptor),
      m_limit(limit),
      m_name(name),
      m_hangUp(hangUp),
      m_buffer(kBufferSize) {}

bool LineSource::Next(std::string_view& line) {
  m_begun.clear();
  m_begunBytes = 0;
  while (!m_unread.empty() || Fill()) {
    const std::size_t end = m_unread.find('\n');
    if (end != std::string_view::npos) {
      line = FinishLine(m_unread.substr(0, end));
      m_unread.remove_prefix(end + 1);
      return true;
    }
    Keep(m_unread);
    m_unread = {};
  }
  if (m_begunBytes == 0) {
    return false;
  }
  m_hasLineFeed = false;
  ++m_lines;
  m_bytes += m_begunBytes;
  line = m_begun;
  return true;
}

bool LineSource::IsBuffered() const {
  return m_unread.find('\n') != std::string_view::npos;
}

void LineSource::Keep(std::string_view part) {
  m_begunBytes += part.size();
  m_begun.append(part.substr(0, m_limit - m_begun.size()));
}

// Returns the line that ends with `rest`.
std::string_view LineSource::FinishLine(std::string_view rest) {
  ++m_lines;
  m_bytes += m_begunBytes + rest.size() + 1;
  if (m_begunBytes == 0) {
    return rest.substr(0, m_limit);
  }
  Keep(rest);
  return m_begun;
}

// Reads more. Returns false at the end of the input.
bool LineSource::Fill() {
  ssize_t size = 0;
  do {
    if (!WaitForInput()) {
      return false;
    }
    size = read(m_descriptor, m_buffer.data(), m_buffer.size());
  } while (size < 0 && (errno == EINTR || errno == EAGAIN));
  if (size < 0) {
    throw StdException("cannot read " + m_name + ": " + std::strerror(errno));
  }
  m_unread = {m_buffer.data(), static_cast<std::size_t>(size)};
  return size > 0;
}

// Returns false if the other end has hung up.
bool LineSource::WaitForInput() const {
  pollfd events[] = {{m_descriptor, POLLIN, 0}, {m_hangUp, POLLRDHUP, 0}};  // poll ignores -1
  while (poll(events, std::size(events), -1) < 0 && errno == EINTR) {
  }
  return events[1].revents == 0;
}
