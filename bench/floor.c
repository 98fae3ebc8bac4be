/* The least cost of a check: only the system calls that it has to make.
 *   floor                   does nothing
 *   floor LOOKUPS LINES     asks LOOKUPS times for a TXT record, then writes LINES log lines
 * It does not read the replies. It ends with status 1 when something fails, or without an answer in
 * five seconds. */

#define _GNU_SOURCE
#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <stdbool.h>
#include <stdlib.h>
#include <sys/select.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

/* TXT record.bench.test (RFC 1035, section 4.1); the first two bytes are set to its number. */
static char query[] = "\0\0\1\0\0\1\0\0\0\0\0\0\6record\5bench\4test\0\0\x10\0\1";

static const char kLine[] = "Debug: SPFCheck::SPFCheck spf record = v=spf1 ip4:192.0.2.0/24 -all\n";

/* Returns a non-blocking socket, whose other flags are kept. */
static int open_socket(void) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM, IPPROTO_UDP);
  fcntl(descriptor, F_SETFL, fcntl(descriptor, F_GETFL) | O_NONBLOCK);
  return descriptor;
}

/* Waits until a socket can be read or written to. */
static bool wait_for(int descriptor, bool reading) {
  struct timeval limit = {.tv_sec = 5};
  fd_set set;
  FD_ZERO(&set);
  FD_SET(descriptor, &set);
  return select(descriptor + 1, reading ? &set : NULL, reading ? NULL : &set, NULL, &limit) == 1;
}

/* Makes one look-up, with its own socket and a second receive that finds nothing. */
static bool look_up(void) {
  const struct sockaddr_in server = {
      .sin_family = AF_INET, .sin_port = htons(53), .sin_addr.s_addr = htonl(INADDR_LOOPBACK)};
  char reply[1024];
  const int descriptor = open_socket();
  const int number = getpid();
  query[0] = (char)(number >> 8);
  query[1] = (char)number;
  const bool asked =
      wait_for(descriptor, false) && sendto(descriptor, query, sizeof(query) - 1, 0,
                                            (const struct sockaddr*)&server, sizeof(server)) > 0;
  const bool answered = asked && wait_for(descriptor, true) &&
                        recvfrom(descriptor, reply, sizeof(reply), 0, NULL, NULL) > 0;
  const bool alone = recvfrom(descriptor, reply, sizeof(reply), 0, NULL, NULL) < 0;
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
  if (lines > 0) {
    tzset(); /* reads the time zone, for the name of the log file */
  }
  for (long i = 0; i < lookups && done; ++i) {
    done = look_up();
  }
  for (long i = 0; i < lines && done; ++i) {
    done = write_line();
  }
  return done ? EXIT_SUCCESS : EXIT_FAILURE;
}
