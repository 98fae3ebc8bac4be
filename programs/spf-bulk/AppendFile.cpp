#include "programs/spf-bulk/AppendFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "framework/core/Exceptions.h"
#include "tool/Printable.h"

namespace {

constexpr std::size_t kLongestName = 200;  // in a message
constexpr mode_t kMode = 0666;             // before the umask

struct stat StatusOf(int descriptor) {
  struct stat status {};
  fstat(descriptor, &status);
  return status;
}

int OpenAt(const std::string& path) {
  return open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, kMode);
}

}  // namespace

AppendFile::AppendFile(const std::optional<std::string>& path)
    : m_name(path ? ToPrintable(*path, kLongestName) : "standard output"),
      m_descriptor(path ? OpenAt(*path) : STDOUT_FILENO) {
  if (m_descriptor < 0) {
    ThrowError("open");
  }
}

AppendFile::~AppendFile() {
  if (m_descriptor > STDERR_FILENO) {
    close(m_descriptor);
  }
}

void AppendFile::Lock() const {
  if (m_descriptor != STDOUT_FILENO && IsRegular() && flock(m_descriptor, LOCK_EX | LOCK_NB) != 0) {
    if (errno == EWOULDBLOCK) {
      throw StdException(m_name + " is in use by another run");
    }
    ThrowError("lock");
  }
}

void AppendFile::Append(std::string_view text) {
  while (!text.empty()) {
    const ssize_t size = write(m_descriptor, text.data(), text.size());
    if (size >= 0) {
      text.remove_prefix(static_cast<std::size_t>(size));
    } else if (errno == EAGAIN) {
      WaitForRoom();
    } else if (errno != EINTR) {
      ThrowError("write to");
    }
  }
}

void AppendFile::WaitForRoom() const {
  pollfd event{m_descriptor, POLLOUT, 0};
  poll(&event, 1, -1);
}

void AppendFile::Cut(off_t size) {
  if (IsRegular() && ftruncate(m_descriptor, size) != 0) {
    ThrowError("cut");
  }
}

void AppendFile::Close() {
  const int descriptor = m_descriptor;
  m_descriptor = -1;
  if (close(descriptor) != 0) {
    ThrowError("write to");
  }
}

bool AppendFile::IsRegular() const {
  return S_ISREG(StatusOf(m_descriptor).st_mode);
}

off_t AppendFile::GetSize() const {
  return IsRegular() ? StatusOf(m_descriptor).st_size : 0;
}

bool AppendFile::IsSameAs(int descriptor) const {
  const struct stat own = StatusOf(m_descriptor);
  const struct stat other = StatusOf(descriptor);
  return S_ISREG(own.st_mode) && own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

void AppendFile::ThrowError(const std::string& action) const {
  throw StdException("cannot " + action + " " + m_name + ": " + std::strerror(errno));
}
