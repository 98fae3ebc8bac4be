#include "tests/faults/NetworkChange.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <net/if.h>
#include <net/route.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstring>

namespace {

void Control(unsigned long request, void* argument) {
  const int descriptor = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(ioctl(descriptor, request, argument), 0) << std::strerror(errno);
  close(descriptor);
}

void SetInterfaceFlags(const char* name, short flags) {
  ifreq request{};
  std::strcpy(request.ifr_name, name);
  request.ifr_flags = flags;
  Control(SIOCSIFFLAGS, &request);
}

// Address as the structures of ioctl() hold it.
void Put(const std::string& dottedQuad, sockaddr& place) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = inet_addr(dottedQuad.c_str());
  std::memcpy(&place, &address, sizeof(address));
}

void ChangeRoute(unsigned long request, const std::string& dottedQuad) {
  rtentry route{};
  Put(dottedQuad, route.rt_dst);
  route.rt_flags = RTF_UP | RTF_HOST | RTF_REJECT;
  Control(request, &route);
}

constexpr char kSecondAddress[] = "lo:1";

}  // namespace

LoopbackDown::LoopbackDown() {
  SetInterfaceFlags("lo", 0);
}

LoopbackDown::~LoopbackDown() {
  SetInterfaceFlags("lo", IFF_UP | IFF_RUNNING);
}

LoopbackAddress::LoopbackAddress(const std::string& dottedQuad) {
  ifreq request{};
  std::strcpy(request.ifr_name, kSecondAddress);
  Put(dottedQuad, request.ifr_addr);
  Control(SIOCSIFADDR, &request);
}

LoopbackAddress::~LoopbackAddress() {
  SetInterfaceFlags(kSecondAddress, 0);  // takes the address away
}

RejectingRoute::RejectingRoute(const std::string& dottedQuad) : m_address(dottedQuad) {
  ChangeRoute(SIOCADDRT, m_address);
}

RejectingRoute::~RejectingRoute() {
  ChangeRoute(SIOCDELRT, m_address);
}
