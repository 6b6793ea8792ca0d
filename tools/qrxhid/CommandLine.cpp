#include "CommandLine.h"

#include "CommandTable.h"
#include "NearestWord.h"
#include "OptionSet.h"
#include "UsageError.h"
#include "commands/CompleteCommand.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <vector>

namespace qrxhid {

namespace {

constexpr std::string_view kExampleBegin = "  qrxhid ";

constexpr const char* kExitStatuses =
    R"(Exit status: 0 success; 1 a device is not there, cannot be used, or the output cannot be written,
or lint or diff has found something; 2 a recording does not parse; 3 doctor finds no device; 4 this user may not use a device;
64 wrong command line; 126 the program of run cannot be run; 127 it is not there.)";

/// "help", "list", "tree", ...
std::vector<std::string> commandNames()
{
    std::vector<std::string> names = {"help"};
    for (const CommandRow& row : commandTable()) {
        names.emplace_back(row.text.name);
    }
    return names;
}

/// The first example in the details of a command's help, without its line end.
std::string_view firstExample(std::string_view details)
{
    const std::string_view rest = details.substr(details.find(kExampleBegin));
    return rest.substr(0, rest.find('\n'));
}

std::string overview()
{
    std::string text = "USB HID devices: what is there, what it can say, what it says.\n\nExamples:\n";
    for (const CommandRow& row : commandTable()) {
        // The first example of each command is the one that most people need.
        text += std::string(firstExample(row.text.details)) + "\n";
    }
    return text;
}

/// What stands below the help of the program.
std::string footer()
{
    std::string absent;
    for (const AbsentCommand& command : absentCommands()) {
        absent += std::string(absent.empty() ? "Not on this system: " : ", ") + command.name;
    }
    return kExitStatuses + (absent.empty() ? "" : "\n" + absent + ".");
}

constexpr const char* kGeneralForm = "qrxhid COMMAND [OPTIONS]; qrxhid help lists the commands";

std::vector<std::string> optionNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            // An option without a group is not for people.
            if (!option->get_group().empty()) {
                names.push_back("--" + name);
            }
        }
    }
    return names;
}

std::string helpHint(const CLI::App& command)
{
    return "qrxhid " + command.get_name() + " --help";
}

/// An option where the command should be: one that belongs behind it, or an unknown one.
[[noreturn]] void refuseEarlyOption(const std::string& option, int count, const char* const* words)
{
    std::vector<std::string> known;
    for (const CommandRow& row : commandTable()) {
        std::ranges::copy(CommandLine::optionsOf(row), std::back_inserter(known));
    }
    if (std::find(known.begin(), known.end(), option.substr(0, option.find('='))) == known.end()) {
        // No command has it, so it must be meant for the program itself.
        known = {"--help", "--version"};
        const std::string nearest = nearestWord(option, known);
        throw UsageError("qrxhid has no option \"" + option + "\"",
                         nearest.empty() ? kGeneralForm : "qrxhid " + nearest);
    }
    const char* const* end = words + count;
    const char* const* command =
        std::find_if(words + 2, end, [](const char* word) { return findCommand(word) != nullptr; });
    throw UsageError("\"" + option + "\" stands before the command",
                     std::string("qrxhid ") + (command == end ? "list" : *command) + " " + option);
}

/// "help" is "--help", and "help tree" is "tree --help".
std::vector<const char*> withoutHelpWord(std::vector<const char*> words)
{
    if (words.size() > 1 && std::string_view(words[1]) == "help") {
        words.erase(words.begin() + 1);
        words.push_back("--help");
    }
    return words;
}

/// CLI11 would only say that a command is missing.
void checkFirstWord(int count, const char* const* words)
{
    if (count < 2) {
        throw UsageError("a command is missing", kGeneralForm);
    }
    const std::string first = words[1];
    if (findCommand(first) != nullptr || first == "--help" || first == "-h" || first == "--version" || first == "-V") {
        return;
    }
    if (first.starts_with("-")) {
        refuseEarlyOption(first, count, words);
    }
    for (const AbsentCommand& absent : absentCommands()) {
        if (first == absent.name) {
            throw UsageError("qrxhid has no \"" + first + "\" on this system: " + absent.reason, kGeneralForm);
        }
    }
    // After the options: a word that begins with a dash is never meant as a command.
    const std::string nearest = nearestWord(first, commandNames());
    throw UsageError("\"" + first + "\" is not a command", nearest.empty() ? kGeneralForm : "qrxhid " + nearest);
}

// CLI11 would list the words without saying what could have been meant.
[[noreturn]] void refuseSurplus(const CLI::App& command)
{
    const std::vector<std::string> surplus = command.remaining(true);
    const std::string word = surplus.empty() ? "" : surplus.front();
    if (!word.starts_with("-")) {
        throw UsageError("\"" + word + "\" is not expected here", helpHint(command));
    }
    const std::string name = word.substr(0, word.find('='));
    const std::string nearest = nearestWord(name, optionNames(command));
    throw UsageError("qrxhid " + command.get_name() + " has no option \"" + name + "\"",
                     nearest.empty() ? helpHint(command) : "qrxhid " + command.get_name() + " " + nearest);
}

/// The parser of one command, with its options; or without a command, that of the program's own.
struct Parser {
    CLI::App app;
    std::unique_ptr<Command> command;

    // The options of the other commands are left out: to declare all of them took longer than most commands do.
    explicit Parser(const CommandRow* row) : app(row == nullptr ? overview() : "", "qrxhid")
    {
        app.set_version_flag("-V,--version", "qrxhid " QRXHID_VERSION);
        app.footer(footer());
        app.require_subcommand(1);
        if (row != nullptr) {
            CLI::App* part = app.add_subcommand(row->text.name, row->text.summary);
            part->footer(row->text.details);
            command = row->make();
            OptionSet options(*part);
            command->declareOptions(options);
            return;
        }
        for (const CommandRow& each : commandTable()) {
            app.add_subcommand(each.text.name, each.text.summary);
        }
    }
};

} // namespace

std::vector<std::string> CommandLine::optionsOf(const CommandRow& row)
{
    CLI::App app;
    OptionSet options(app);
    const std::unique_ptr<Command> command = row.make();
    command->declareOptions(options);
    return optionNames(app);
}

CommandLine CommandLine::parse(int count, const char* const* words)
{
    if (count > 1 && std::string_view(words[1]) == CompleteCommand::kName) {
        // What is being typed is no command line yet: it is not parsed. The scripts put "--" in front of it.
        constexpr int kBefore = 3;
        return {std::make_unique<CompleteCommand>(
                    std::vector<std::string>(words + std::min(count, kBefore), words + count)),
                {}};
    }
    const std::vector<const char*> asked = withoutHelpWord({words, words + count});
    const int askedCount = static_cast<int>(asked.size());
    checkFirstWord(askedCount, asked.data());
    Parser parser(findCommand(asked[1]));
    try {
        parser.app.parse(askedCount, asked.data());
    } catch (const CLI::CallForHelp&) {
        return {nullptr, parser.app.help()};
    } catch (const CLI::CallForVersion& version) {
        return {nullptr, std::string(version.what()) + "\n"};
    } catch (const CLI::ExtrasError&) {
        refuseSurplus(*parser.app.get_subcommands().front());
    } catch (const CLI::ParseError& error) {
        const auto chosen = parser.app.get_subcommands();
        throw UsageError(error.what(), chosen.empty() ? kGeneralForm : helpHint(*chosen.front()));
    }
    // Before anything is opened or printed: a wrong command line changes nothing.
    parser.command->checkOptions();
    return {std::move(parser.command), {}};
}

} // namespace qrxhid
