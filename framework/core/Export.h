// FWK_EXPORT marks what the shared libraries export: everything that a header declares. All other
// symbols are hidden.

#pragma once

// Goes between `class` and the name, or before a function or a variable.
#define FWK_EXPORT __attribute__((visibility("default")))
