#pragma once

#include "Command.h"

#include <string>
#include <vector>

namespace qrxhid {

/// What tells two devices or recordings apart.
class DiffCommand : public Command {
public:
    static constexpr CommandText kText = {"diff", "Compare two devices or recordings: identity, reports, fields, input",
                                          "Each is a recording, or a device by its IDs or its number of list. Times of "
                                          "events are not compared. The exit\n"
                                          "status is 1 if they differ.\n"
                                          "Examples:\n"
                                          "  qrxhid diff old.hid new.hid\n"
                                          "  qrxhid diff old.hid 04d8:003f"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    std::vector<std::string> _sides;
    bool _isJson = false;
};

} // namespace qrxhid
