/// @file
/// What happens when the library meets a programming error: one line on standard error, then the end of the process.
/// Applications need nothing of this; `VCollectable` and `swizzler` use it.

#ifndef MIS_ASSERTION_H
#define MIS_ASSERTION_H

#include <cstdio>
#include <cstdlib>

/// `condition`, of which the compiler is told that it seldom holds, so that the usual way gets shorter. For this file's
/// users, whose checks run with every handle that is copied. A macro, since compilers lose the advice of an inline
/// function.
#if defined(__GNUC__)
#define MIS_SELDOM(condition) __builtin_expect(static_cast<bool>(condition), false)
#else
#define MIS_SELDOM(condition) (condition)
#endif

namespace mis {

/// Writes "FILE:LINE: failed assertion `EXPRESSION'" and an end of line to the standard error stream, flushes it and
/// aborts the process. Never returns and never throws.
///
/// @param file        path of the header as messages name it, the same in every build and in installed headers
/// @param line        number that identifies the check; a constant of the message, not a position in today's file
/// @param expression  the text of the condition that did not hold
[[noreturn]] inline void _failAssertion(char const* file, unsigned int line, char const* expression)
{
    std::fprintf(stderr, "%s:%u: failed assertion `%s'\n", file, line, expression);
    std::fflush(stderr);
    std::abort();
}

} // namespace mis

#endif
