#pragma once

#include "Command.h"

#include <string>
#include <vector>

namespace qrxhid {

/// Tells a shell what can follow on a command line, one word a line. It is for the scripts in completion/, and not
/// listed.
class CompleteCommand : public Command {
public:
    static constexpr const char* kName = "complete";

    /// The words behind the program's name; the last one is what is being typed.
    explicit CompleteCommand(std::vector<std::string> words) : _words(std::move(words)) {}

    void declareOptions(OptionSet&) override {}
    ExitStatus run(std::ostream& out) override;

private:
    std::vector<std::string> candidates() const;
    /// What can follow an option; nothing for a file or a free text.
    std::vector<std::string> valuesOf(const std::string& option) const;
    /// By what the devices that are there, or the recordings that the line names, can be chosen.
    std::vector<std::string> deviceValues(const std::string& option) const;

    std::vector<std::string> _words;
};

} // namespace qrxhid
