// The version of the libraries and programs, for the code of those who build on them. No header
// includes this one, so a new version compiles nothing again that does not ask for it.

#pragma once

// Major, minor and patch version. A package's version has the commit after it.
#define FWK_VERSION "0.2.0"
