// This machine as it is, where all that a test installs or changes goes away with the test. For
// programs that link test_private_network.

#pragma once

// Keeps what changes in /etc, /usr and /var in memory, for this process and its children, and gives
// them the environment of a new shell of root. Skips the test where the system refuses that.
void EnterCleanMachine();

// Installs there the packages that scripts/package made, and hides the sources and the builds of
// this checkout: a name server has to be started before.
void InstallPackages();
