#pragma once

#include "Command.h"
#include "descriptor/DescriptorSource.h"

namespace qrxhid {

/// What the author of a report descriptor should look at.
class LintCommand : public Command {
public:
    static constexpr CommandText kText = {"lint", "Check report descriptors, also for what systems read differently",
                                          "The exit status is 1 if there is an error or a warning.\n"
                                          "Examples:\n"
                                          "  qrxhid lint --descriptor report.bin\n"
                                          "  qrxhid lint --device 04d8:003f --notes"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DescriptorSource _source;
    bool _showsNotes = false;
    bool _isJson = false;
};

} // namespace qrxhid
