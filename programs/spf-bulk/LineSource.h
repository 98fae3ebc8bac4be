// LineSource reads lines from a descriptor. It keeps a limited part of each, so that it needs the
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
  // Reads `descriptor`, which remains the caller's. Keeps the first `limit` bytes of a line.
  // `name`: of the source, for messages. Reading ends when the peer of `hangUp`, a stream socket,
  // closes its end; -1 for none.
  LineSource(int descriptor, std::size_t limit, const std::string& name, int hangUp);

  LineSource(const LineSource&) = delete;
  LineSource& operator=(const LineSource&) = delete;

  // Reads the next line, without its line feed; `line` is valid until the next call. The last line
  // needs no line feed. Returns false at the end. Throws a StdException if the source cannot be
  // read.
  bool Next(std::string_view& line);

  // Returns whether Next would return without reading the descriptor.
  bool IsBuffered() const;

  // Return the numbers of lines and bytes so far, and whether the last line had a line feed.
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
  std::string m_begun;        // the beginning of an incomplete line
  std::uint64_t m_begunBytes = 0;
  std::uint64_t m_lines = 0;
  std::uint64_t m_bytes = 0;
  bool m_hasLineFeed = true;
};
