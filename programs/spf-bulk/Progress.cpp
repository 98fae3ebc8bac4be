#include "programs/spf-bulk/Progress.h"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

using std::chrono::duration;
using std::chrono::milliseconds;
using std::chrono::seconds;

namespace {

constexpr milliseconds kInterval{100};
constexpr seconds kMemory{10};  // over which the rate is measured
constexpr std::size_t kBufferSize = std::size_t{256} * 1024;
constexpr int kReadsAtOnce = 64;
constexpr std::size_t kUsualWidth = 80;

std::size_t GetWidth() {
  winsize size{};
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col
                                                                         : kUsualWidth;
}

std::string DescribeTime(double time) {
  const auto whole = static_cast<std::uint64_t>(time);
  const std::string minutes = std::to_string(whole / 60 % 60);
  const std::string rest = std::to_string(whole % 60);
  return std::to_string(whole / 3600) + (minutes.size() < 2 ? ":0" : ":") + minutes +
         (rest.size() < 2 ? ":0" : ":") + rest;
}

}  // namespace

Progress::Progress(const InputFile& input, Clock::time_point now)
    : m_input(input.GetDescriptor()), m_drawn(now - kInterval) {
  struct stat status {};
  if (fstat(m_input, &status) == 0 && S_ISREG(status.st_mode)) {
    m_position = input.GetBegin();
    m_buffer.resize(kBufferSize);
  }
}

void Progress::Draw(const Totals& totals, Clock::time_point now) {
  if (now - m_drawn < kInterval) {
    return;
  }
  CountLines();
  const double rate = MeasureRate(totals.GetLines(), now);
  const std::string text = Describe(totals, m_position < 0 ? m_counted : 0, rate);
  std::fprintf(stderr, "\r%s\033[K", text.substr(0, GetWidth() - 1).c_str());
  m_drawn = now;
  m_isDrawn = true;
}

void Progress::Erase() {
  if (m_isDrawn) {
    std::fputs("\r\033[K", stderr);
    m_isDrawn = false;
  }
}

std::string Progress::Describe(const Totals& totals, std::uint64_t all, double rate) {
  const std::uint64_t done = totals.GetLines();
  std::string text = std::to_string(done);
  if (all != 0) {
    text += " of " + std::to_string(all);
  }
  text += " lines, " + std::to_string(static_cast<std::uint64_t>(rate)) + " a second";
  if (all > done && rate > 0) {
    text += ", " + DescribeTime(static_cast<double>(all - done) / rate) + " left";
  }
  return text + "; " + std::to_string(totals.passed) + " passed, " + std::to_string(totals.failed) +
         " failed, " + std::to_string(totals.error) + " error";
}

// Counts some more lines of the input.
void Progress::CountLines() {
  for (int i = 0; i < kReadsAtOnce && m_position >= 0; ++i) {
    const ssize_t size = pread(m_input, m_buffer.data(), m_buffer.size(), m_position);
    if (size <= 0) {
      m_position = -1;
      m_counted += m_isLineBegun ? 1 : 0;
      return;
    }
    const auto end = m_buffer.begin() + size;
    m_counted += static_cast<std::uint64_t>(std::count(m_buffer.begin(), end, '\n'));
    m_isLineBegun = *(end - 1) != '\n';
    m_position += size;
  }
}

// Returns the recent rate in lines a second.
double Progress::MeasureRate(std::uint64_t lines, Clock::time_point now) {
  m_samples.push_back({now, lines});
  while (now - m_samples.front().time > kMemory) {
    m_samples.pop_front();
  }
  const Sample& first = m_samples.front();
  const double time = duration<double>(now - first.time).count();
  return time > 0 ? static_cast<double>(lines - first.lines) / time : 0;
}
