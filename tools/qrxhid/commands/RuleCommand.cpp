#include "commands/RuleCommand.h"

#include "doctor/UdevRule.h"

namespace qrxhid {

ExitStatus runRule(const Options& options, std::ostream& out)
{
    out << UdevRule{options.ruleDevice, options.interfaceNumber}.text();
    return kSuccess;
}

} // namespace qrxhid
