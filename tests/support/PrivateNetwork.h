// A network and mounts that only this test process sees, so that tests may bind port 53 and choose
// /etc/resolv.conf without any right on the host.
//
// A test program that links test_private_network gets a main() that enters one first.

#pragma once

#include <string>

// Starts the program, whose arguments are argv, anew inside such a network, with the loopback
// interface up and nothing else; inside it returns. Where the machine forbids that, the test is
// skipped. A caller that made the namespaces itself says so by the environment variable
// SPFCHECK_TESTS_INSIDE_PRIVATE_NETWORK.
void EnterPrivateNetwork(char* argv[]);

// The same with the users of the machine, for which it needs root, and with processes of its own,
// which end with the program.
void EnterPrivateMachine(char* argv[]);

// Makes content what /etc/resolv.conf holds, for this process and its children, from now on.
// Throws std::system_error when that fails.
void SetResolverFile(const std::string& content);

// Makes path what opening /etc/resolv.conf opens.
void MountResolverFile(const std::string& path);
