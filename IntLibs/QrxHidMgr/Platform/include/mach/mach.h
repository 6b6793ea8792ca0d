#pragma once

/// The base types of the I/O Kit interfaces.

using kern_return_t = int;
using mach_port_t = unsigned int;
using boolean_t = unsigned int;

#define MACH_PORT_NULL (static_cast<mach_port_t>(0))
#define KERN_SUCCESS 0
#define KERN_INVALID_NAME 15

/// Given to IOMasterPort, which ignores it.
extern "C" mach_port_t bootstrap_port;
