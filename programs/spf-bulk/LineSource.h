// LineSource reads lines from a descriptor, and of each no more than a limit, so that it needs the
// same memory for any input.
//
// One thread at a time. Next blocks as the descriptor does.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

class LineSource {
 public:
  // Reads `descriptor`, which stays the caller's. Of a line the first `limit` bytes are kept.
  // `name`: of the source, in messages. The peer of `hangUp`, a stream socket, ends the reading
  // when it closes its end; -1: nothing does.
  LineSource(int descriptor, std::size_t limit, const std::string& name, int hangUp);

  LineSource(const LineSource&) = delete;
  LineSource& operator=(const LineSource&) = delete;

  // Reads the next line into `line`, without its line feed; it is valid until the next call. The
  // last line needs no line feed. Returns false at the end. Throws a StdException when the source
  // cannot be read.
  bool Next(std::string_view& line);

  // Returns whether Next would return without reading the descriptor.
  bool IsBuffered() const;

  // Return how many lines were read, how many bytes they had, and whether the last one had a line
  // feed.
  std::uint64_t GetLines() const { return m_lines; }
  std::uint64_t GetBytes() const { return m_bytes; }
  bool HasLineFeed() const { return m_hasLineFeed; }

 private:
  bool Fill();
  bool WaitForInput() const;
  void Keep(std::string_view part);
  std::string_view FinishLine(std::string_view rest);

  int m_descriptor;
  std::size_t m_limit;
  std::string m_name;
  int m_hangUp;
  std::vector<char> m_buffer;
  std::string_view m_unread;  // of the buffer
  std::string m_begun;        // what was read of a line that goes on
  std::uint64_t m_begunBytes = 0;
  std::uint64_t m_lines = 0;
  std::uint64_t m_bytes = 0;
  bool m_hasLineFeed = true;
};
