#pragma once

#include "Command.h"

#include <string>
#include <vector>

namespace qrxhid {

/// Another program, on devices that are files: the program is started with our library of hidapi's interface.
class RunCommand : public Command {
public:
    static constexpr CommandText kText = {
        "run", "Run a program made for hidapi on recorded devices",
        "The program runs unchanged: it finds the devices of the recordings besides the machine's own, reads their\n"
        "input at the recorded times from its first opening on, and may send to them. What they answer, and how they\n"
        "misbehave, stands in a file for --faults. The exit status is the program's; 126 if it cannot be run, 127 if\n"
        "it is not there.\n"
        "\n"
        "Examples:\n"
        "  qrxhid run --recording relay.hid --faults relay.faults -- usbrelay\n"
        "  qrxhid run --recording deck.hid --only-virtual -- python3 application.py"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    /// Returns only if the program cannot be run.
    ExitStatus run(std::ostream& out) override;

private:
    std::vector<std::string> _recordings;
    std::vector<std::string> _faults;
    bool _isOnlyVirtual = false;
    std::vector<std::string> _program;
};

} // namespace qrxhid
