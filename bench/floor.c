/* What a check costs at least: the same round trips to the name server and the same log lines, and
 * nothing else:
 *   floor                   does nothing
 *   floor LOOKUPS LINES     asks as many times for a TXT record, then writes as many log lines
 * Ends with status 1 where something fails or no answer comes within a second. */

#define _GNU_SOURCE
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <stdbool.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <unistd.h>

/* TXT record.bench.test (RFC 1035, section 4.1). */
static const char kQuery[] = "\0\1\1\0\0\1\0\0\0\0\0\0\6record\5bench\4test\0\0\x10\0\1";

static const char kLine[] = "Debug: SPFCheck::SPFCheck spf record = v=spf1 ip4:192.0.2.0/24 -all\n";

/* One look-up as the check makes it: a socket of its own, and a receive that finds no second
 * datagram. */
static bool look_up(void) {
  const struct sockaddr_in server = {
      .sin_family = AF_INET, .sin_port = htons(53), .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
  char reply[1024];
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0);
  sendto(descriptor, kQuery, sizeof(kQuery) - 1, 0, (const struct sockaddr*)&server,
         sizeof(server));
  struct pollfd event = {.fd = descriptor, .events = POLLIN};
  poll(&event, 1, 1000);
  const bool answered = recv(descriptor, reply, sizeof(reply), 0) > 0;
  const bool alone = recv(descriptor, reply, sizeof(reply), 0) < 0;
  close(descriptor);
  return answered && alone;
}

static bool write_line(void) {
  const ssize_t length = sizeof(kLine) - 1;
  const int file = open("floor.log", O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0666);
  const bool logged = write(file, kLine, length) == length;
  close(file);
  return write(STDOUT_FILENO, kLine, length) == length && logged;
}

int main(int argc, char* argv[]) {
  const long lookups = argc == 3 ? strtol(argv[1], NULL, 10) : 0;
  const long lines = argc == 3 ? strtol(argv[2], NULL, 10) : 0;
  bool done = true;
  for (long i = 0; i < lookups && done; ++i) {
    done = look_up();
  }
  for (long i = 0; i < lines && done; ++i) {
    done = write_line();
  }
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
