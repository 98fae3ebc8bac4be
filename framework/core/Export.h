// What the shared libraries give to others: everything that a header declares bears FWK_EXPORT; all
// else in them is hidden.

#pragma once

// Before the name of a class; in front of a function or a variable.
#define FWK_EXPORT __attribute__((visibility("default")))
