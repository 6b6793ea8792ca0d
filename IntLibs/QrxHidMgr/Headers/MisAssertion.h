/// @file
/// What happens when the library meets a programming error: one line on standard error, then the end of the process.
/// Applications do not need this header; `VCollectable` and `swizzler` use it.

#ifndef MIS_ASSERTION_H
#define MIS_ASSERTION_H

#include <cstdio>
#include <cstdlib>

/// `condition`, marked as unlikely for the compiler, which makes the usual path shorter. For this file's users, whose
/// checks run with every handle that is copied. A macro, because compilers lose the mark of an inline function.
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
[[noreturn]] inline void _failAssertion(const char* file, unsigned int line, const char* expression)
{
    std::fprintf(stderr, "%s:%u: failed assertion `%s'\n", file, line, expression);
    std::fflush(stderr);
    std::abort();
}

} // namespace mis

#endif
