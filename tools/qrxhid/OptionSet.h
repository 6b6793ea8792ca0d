#pragma once

#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace qrxhid {

/// What a command line can have behind its command: options, and words without an option in front. The parser writes
/// into the variables that are given here; those of what the line does not have keep their values.
///
/// `help` says what it is for, `type` what its value is, as help shows it: "FILE". The classes of the parser are known
/// to OptionSet.cpp and CommandLine.cpp only: their headers take longer to compile than a command.
class OptionSet {
public:
    /// Declares options of `app`. The parser and the variables must outlive this object.
    explicit OptionSet(CLI::App& app) : _app(app) {}

    /// "--name", or "-n,--name". A name without dashes is that of a word.
    void addOption(const std::string& name, std::string& value, const std::string& help, const std::string& type);
    void addOption(const std::string& name, std::optional<std::string>& value, const std::string& help,
                   const std::string& type);
    /// Takes all that follows up to the next option.
    void addOption(const std::string& name, std::vector<std::string>& values, const std::string& help,
                   const std::string& type);
    /// Takes one value each time that the line has it.
    void addRepeatedOption(const std::string& name, std::vector<std::string>& values, const std::string& help,
                           const std::string& type);
    /// One that neither help nor completion shows.
    void addHiddenOption(const std::string& name, std::string& value);
    /// An option without a value: "--json=false" would be a second way to say nothing.
    void addFlag(const std::string& name, bool& value, const std::string& help);

    /// Words without which there is nothing to do.
    void addRequiredWord(const std::string& name, std::string& value, const std::string& help, const std::string& type);
    void addRequiredWords(const std::string& name, std::vector<std::string>& values, const std::string& help,
                          const std::string& type);

private:
    CLI::App& _app;
};

} // namespace qrxhid
