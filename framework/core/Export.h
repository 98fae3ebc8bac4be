// What the shared libraries give to others: everything that a header declares bears FWK_EXPORT; all
// else in them is hidden.

#pragma once

#define FWK_EXPORT __attribute__((visibility("default")))
