#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the run with the input as a finding: something that must hold does not.
[[noreturn]] inline void fail(const std::string& what)
{
    std::fprintf(stderr, "broken: %s\n", what.c_str());
    std::abort();
}

inline void require(bool holds, const char* what)
{
    if (!holds) {
        fail(what);
    }
}
