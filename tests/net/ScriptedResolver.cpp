#include "tests/net/ScriptedResolver.h"

#include <cerrno>

#include "tests/support/RealFunction.h"

namespace {

ScriptedResolver* active = nullptr;

std::optional<std::string> Text(const char* text) {
  return text != nullptr ? std::optional<std::string>(text) : std::nullopt;
}

}  // namespace

ScriptedResolver::ScriptedResolver() {
  active = this;
}

ScriptedResolver::~ScriptedResolver() {
  active = nullptr;
}

extern "C" int getaddrinfo(const char* __restrict node, const char* __restrict service,
                           const addrinfo* __restrict hints, addrinfo** __restrict list) {
  static const auto real = RealFunction(&getaddrinfo, "getaddrinfo");
  if (active == nullptr) {
    return real(node, service, hints, list);
  }
  active->questions.push_back({Text(node), Text(service),
                               hints != nullptr ? std::optional<addrinfo>(*hints) : std::nullopt});
  *list = active->list;
  errno = active->errorNumber;
  return active->result;
}

extern "C" void freeaddrinfo(addrinfo* list) noexcept {
  static const auto real = RealFunction(&freeaddrinfo, "freeaddrinfo");
  if (active == nullptr) {
    real(list);
  } else {
    active->freed.push_back(list);
  }
}
