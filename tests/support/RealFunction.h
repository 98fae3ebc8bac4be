// For test programs that replace a function of the C library: the replacement calls the real one,
// except while a test wants something else.

#pragma once

#include <dlfcn.h>

// Returns the C library's function `name`, whose type is that of `replacement`.
template <typename Function>
Function* RealFunction(Function* /*replacement*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
