#pragma once

#include "Command.h"

namespace qrxhid {

/// Built-in virtual devices through the whole library, checked step by step.
class DemoCommand : public Command {
public:
    static constexpr CommandText kText = {"demo", "Exercise the library with built-in virtual devices",
                                          "Example:\n"
                                          "  qrxhid demo"};

    void declareOptions(OptionSet& options) override;
    ExitStatus run(std::ostream& out) override;
};

} // namespace qrxhid
