#pragma once

namespace qrxhid {

/// The user's permission to read what keyboards, mice and trackpads send while other programs are used. The system has
/// it since 10.15 and gives it to the application that is answerable for this process: the terminal, for a command in
/// it.
enum class InputMonitoring {
    granted,
    denied,
    /// Nobody has decided: the system asks the user when a program wants to listen.
    undecided,
    /// An older system, which asks nobody.
    notNeeded
};

InputMonitoring inputMonitoring();

/// Lets the system ask the user if nobody has decided, and returns at once; the answer shows later.
void requestInputMonitoring();

} // namespace qrxhid
