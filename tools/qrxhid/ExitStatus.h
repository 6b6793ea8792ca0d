#pragma once

namespace qrxhid {

/// What the process answers to whoever started it.
enum ExitStatus : int {
    kSuccess = 0,
    /// A device is not there, a step of the demonstration did not happen, or the output could not be written.
    kFailure = 1,
    /// A recording does not parse.
    kBadRecording = 2,
    /// There is no device to say anything about.
    kNoDevice = 3,
    /// A device is there and whole, and this user may not use it.
    kNoPermission = 4,
    /// Wrong command line (EX_USAGE of sysexits.h).
    kWrongUsage = 64,
    /// The program that was to be run is there and cannot be, or is not there (as env answers).
    kProgramCannotRun = 126,
    kProgramNotFound = 127
};

} // namespace qrxhid
