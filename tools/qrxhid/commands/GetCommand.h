#pragma once

#include "Command.h"
#include "descriptor/ReportSearch.h"

namespace qrxhid {

/// Asks a device for a report.
class GetCommand : public Command {
public:
    static constexpr CommandText kText = {"get", "Ask a device for a feature or input report",
                                          "Examples:\n"
                                          "  qrxhid get --device 04d8:003f --report 4\n"
                                          "  qrxhid get --device 04d8:003f --type input --json"};

    void declareOptions(OptionSet& options) override;
    void checkOptions() override;
    ExitStatus run(std::ostream& out) override;

private:
    DeviceChoice _choice;
    ReportOptions _options;
    bool _isJson = false;
};

} // namespace qrxhid
