#pragma once

#include <span>

namespace qrxhid {

/// A recording that is part of the program.
struct BuiltInRecording {
    /// "wheel-mouse"
    const char* name;
    /// As QrxRecording::read takes it.
    const char* text;
};

/// The files below recordings/, in the order of the build file. Defined by a source that the build makes of them.
std::span<const BuiltInRecording> builtInRecordings();

} // namespace qrxhid
