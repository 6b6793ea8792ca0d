// The bodies of operations that a backend has to supply.

#ifndef QRX_ABSTRACT_OPERATION_H
#define QRX_ABSTRACT_OPERATION_H

#include <iostream>

/// Says on standard error that nobody supplied an operation. The declaration is a literal of the caller's, since what
/// compilers offer as a function's name differs between them.
inline void reportAbstract(const char* declaration)
{
    std::cerr << declaration << " is abstract\n";
}

#endif
