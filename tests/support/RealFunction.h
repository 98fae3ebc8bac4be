// For test programs that define a function of the C library themselves: such a function calls the
// real one except while a test that asked for something else is running.

#pragma once

#include <dlfcn.h>

// Returns the C library's function `name`, of which `replacement` is the one that the program
// defines.
template <typename Function>
Function* RealFunction(Function* /*replacement*/, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
