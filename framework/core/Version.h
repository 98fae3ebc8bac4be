// The version of the libraries and programs. No header includes this one, so a new version only
// recompiles the sources that use it.

#pragma once

// The major, minor and patch version. The version of a package also has the commit.
#define FWK_VERSION "0.2.0"
