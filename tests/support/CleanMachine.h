// This machine, on which all changes disappear at the end of a test. For programs that link
// test_private_network.

#pragma once

// Keeps changes of /etc, /usr and /var in memory, for this process and its children, and gives them
// the environment of a new shell of root. Skips the test where the machine forbids that.
void EnterCleanMachine();

// Installs the packages that scripts/package made, and hides the sources and builds of this
// checkout, so a name server must be started before.
void InstallPackages();
