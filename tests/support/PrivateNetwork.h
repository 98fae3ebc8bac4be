// A network and mounts that only this process and its children see, so that tests may bind port 53
// and replace /etc/resolv.conf. The main() of test_private_network enters one.

#pragma once

#include <string>

// Starts this program, whose arguments are `argv`, again inside such a network; returns only there,
// with the loopback interface up. Skips the test where the machine forbids that. Whoever made the
// namespaces already sets the environment variable SPFCHECK_TESTS_INSIDE_PRIVATE_NETWORK.
void EnterPrivateNetwork(char* argv[]);

// The same with the users of the machine, which needs root, and with processes of its own, which
// end with the program.
void EnterPrivateMachine(char* argv[]);

// Replaces the content of /etc/resolv.conf for this process and its children. Throws
// std::system_error.
void SetResolverFile(const std::string& content);

// Mounts the file `path` over /etc/resolv.conf. Throws std::system_error.
void MountResolverFile(const std::string& path);
