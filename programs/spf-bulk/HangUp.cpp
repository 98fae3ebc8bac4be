#include "programs/spf-bulk/HangUp.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>

#include "framework/core/Exceptions.h"

using std::chrono::nanoseconds;
using std::chrono::steady_clock;
using namespace std::chrono_literals;

HangUp::HangUp() {
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, m_ends) != 0) {
    throw StdSystemException("HangUp::HangUp - socketpair");
  }
}

HangUp::~HangUp() {
  close(m_ends[0]);
  close(m_ends[1]);
}

void HangUp::Tell() {
  shutdown(m_ends[1], SHUT_WR);
}

void HangUp::WaitUntil(steady_clock::time_point time) const {
  pollfd event{m_ends[0], POLLRDHUP, 0};
  int ready = 0;
  while (ready == 0 || (ready < 0 && errno == EINTR)) {
    const nanoseconds left = time - steady_clock::now();
    if (left <= nanoseconds::zero()) {
      return;
    }
    const timespec wait{.tv_sec = left / 1s, .tv_nsec = left % 1s / 1ns};
    ready = ppoll(&event, 1, &wait, nullptr);
  }
}
