#pragma once

#include "ExitStatus.h"

#include <ostream>

namespace qrxhid {

class OptionSet;

/// What help tells of a command.
struct CommandText {
    const char* name;
    /// One line.
    const char* summary;
    /// Shown below the options: what else is worth knowing, then examples.
    const char* details;
};

/// One command of the program, made for one command line: its options are declared, filled in by the parser, checked,
/// and then it runs once. A class of its own for each command, with a `static constexpr CommandText kText` and a row in
/// CommandTable.cpp.
class Command {
public:
    Command() = default;
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// Declares options and words; the parser writes their values into this object.
    virtual void declareOptions(OptionSet& options) = 0;
    /// Once the whole command line is parsed: turns texts into values. Throws UsageError.
    virtual void checkOptions() {}
    /// Writes to `out`; what a person must know goes to standard error. Throws UsageError, QrxRecordingError,
    /// UnknownDevice.
    virtual ExitStatus run(std::ostream& out) = 0;
};

} // namespace qrxhid
