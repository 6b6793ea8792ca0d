#pragma once

// The bodies of operations that a backend has to supply.

#include <iostream>

/// Says on standard error that nobody supplied an operation. The declaration is a literal of the caller's, since what
/// compilers offer as a function's name differs between them.
inline void reportAbstract(const char* declaration)
{
    std::cerr << declaration << " is abstract\n";
}
