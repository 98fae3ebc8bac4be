#include "tests/net/ScriptedResolver.h"

#include <dlfcn.h>

#include <cerrno>

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
  static const auto system =
      reinterpret_cast<decltype(&getaddrinfo)>(dlsym(RTLD_NEXT, "getaddrinfo"));
  if (active == nullptr) {
    return system(node, service, hints, list);
  }
  active->questions.push_back({Text(node), Text(service),
                               hints != nullptr ? std::optional<addrinfo>(*hints) : std::nullopt});
  *list = active->list;
  errno = active->errorNumber;
  return active->result;
}

extern "C" void freeaddrinfo(addrinfo* list) noexcept {
  static const auto system =
      reinterpret_cast<decltype(&freeaddrinfo)>(dlsym(RTLD_NEXT, "freeaddrinfo"));
  if (active == nullptr) {
    system(list);
  } else {
    active->freed.push_back(list);
  }
}
