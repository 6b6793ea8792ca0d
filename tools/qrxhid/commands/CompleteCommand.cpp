#include "commands/CompleteCommand.h"

#include "CommandLine.h"
#include "CommandTable.h"
#include "devices/DeviceSession.h"

#include <algorithm>
#include <iostream>
#include <set>

namespace qrxhid {

namespace {

/// A word that a shell takes as it is, and that shows no escapes.
bool isPlain(const std::string& word)
{
    // A list of what is allowed: shells differ in what is dangerous.
    return !word.empty() && word.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789"
                                                   ".-:_+=") == std::string::npos;
}

std::vector<std::string> commandNames()
{
    std::vector<std::string> names = {"help", "--help", "--version"};
    for (const CommandRow& row : commandTable()) {
        names.emplace_back(row.text.name);
    }
    return names;
}

/// The files behind --recording.
std::vector<std::string> recordingsIn(const std::vector<std::string>& words)
{
    std::vector<std::string> files;
    bool isFile = false;
    for (std::size_t i = 0; i + 1 < words.size(); ++i) {
        // --recording takes several files; the word that is being typed is not counted.
        isFile = words[i].starts_with("--") ? words[i] == "--recording" : isFile;
        if (isFile && !words[i].starts_with("--") && words[i] != "-") {
            files.push_back(words[i]);
        }
    }
    return files;
}

/// Neither the library nor the tool may write to a terminal where somebody is typing.
class SilentErrors {
public:
    SilentErrors() : _buffer(std::cerr.rdbuf(nullptr)) {}
    ~SilentErrors() { std::cerr.rdbuf(_buffer); }
    SilentErrors(const SilentErrors&) = delete;
    SilentErrors& operator=(const SilentErrors&) = delete;

private:
    std::streambuf* _buffer;
};

} // namespace

std::vector<std::string> CompleteCommand::deviceValues(const std::string& option) const
{
    // Whatever fails here means that there is nothing to suggest.
    const SilentErrors silence;
    DeviceChoice choice;
    choice.addRecordings(recordingsIn(_words));
    DeviceSession session(choice);
    session.begin();
    // Sorted, and once each: two devices of a kind are one suggestion.
    std::set<std::string> values;
    for (const PresentDevice& device : session.devices()) {
        if (option == "--device") {
            values.insert(device.facts.ids.text());
        } else if (option == "--serial") {
            values.insert(device.facts.serialNumber);
        } else if (option == "--port") {
            values.insert(device.facts.place);
        } else {
            for (const auto& [number, node] : device.facts.nodes) {
                values.insert(std::to_string(number));
            }
        }
    }
    // A serial number is chosen by the device: what a shell would run must never be put into its line.
    std::erase_if(values, [](const std::string& value) { return !isPlain(value); });
    return {values.begin(), values.end()};
}

std::vector<std::string> CompleteCommand::valuesOf(const std::string& option) const
{
    if (option == "--type") {
        return {"input", "output", "feature"};
    }
    if (option == "--format") {
        return {"hex", "c", "binary"};
    }
    const bool isOfDevice =
        option == "--device" || option == "--serial" || option == "--port" || option == "--interface";
    return isOfDevice ? deviceValues(option) : std::vector<std::string>();
}

std::vector<std::string> CompleteCommand::candidates() const
{
    // The first word is the command, which is still being typed.
    if (_words.size() < 2 || _words.front() == "help") {
        return commandNames();
    }
    const CommandRow* row = findCommand(_words.front());
    if (row == nullptr) {
        return {};
    }
    // The last word is the one that is being typed; it may be empty.
    if (_words.back().starts_with("-")) {
        return CommandLine::optionsOf(*row);
    }
    const std::string& before = _words[_words.size() - 2];
    // These two take devices without an option in front.
    const bool takesDevices =
        std::string_view(row->text.name) == "doctor" || std::string_view(row->text.name) == "rule";
    return valuesOf(!before.starts_with("-") && takesDevices ? "--device" : before);
}

ExitStatus CompleteCommand::run(std::ostream& out)
{
    const std::string typed = _words.empty() ? "" : _words.back();
    for (const std::string& candidate : candidates()) {
        // Shells filter as well, but not all of them do so for a word with a colon.
        if (candidate.starts_with(typed)) {
            out << candidate << "\n";
        }
    }
    return kSuccess;
}

} // namespace qrxhid
