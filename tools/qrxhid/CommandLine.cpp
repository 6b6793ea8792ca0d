#include "CommandLine.h"

#include "NearestWord.h"
#include "UsageError.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <map>

namespace qrxhid {

namespace {

constexpr const char* kGeneralForm = "qrxhid list|tree|dump|watch|demo [OPTIONS]";

constexpr const char* kOverview = R"(USB HID devices: what is there, what it can say, what it says.

Examples:
  qrxhid list                              the HID devices of this machine
  qrxhid tree --device 046d:               elements and reports of one vendor's devices
  qrxhid dump --device 04d8:003f           the library's own description of one device
  qrxhid watch                             arrivals, removals and decoded input until Ctrl-C
  qrxhid watch --recording mouse.hid       the same for a recorded device
  qrxhid demo                              virtual devices: needs no hardware
)";

constexpr const char* kExitStatuses =
    R"(Exit status: 0 success; 1 a device is not there or the output cannot be written;
2 a recording does not parse; 64 wrong command line.)";

struct CommandText {
    Command command;
    const char* name;
    const char* summary;
    const char* examples;
};

constexpr CommandText kCommands[] = {
    {Command::list, "list", "List the HID devices, one line each",
     "Examples:\n"
     "  qrxhid list\n"
     "  qrxhid list --device 046d: --json\n"
     "  qrxhid list --recording keyboard.hid mouse.hid"},
    {Command::tree, "tree", "Show each device's interfaces, elements and reports",
     "Examples:\n"
     "  qrxhid tree --device 046d:c077\n"
     "  qrxhid tree --recording mouse.hid --json"},
    {Command::dump, "dump", "Print each device as the library does",
     "Examples:\n"
     "  qrxhid dump --device 046d:c077\n"
     "  qrxhid dump --recording mouse.hid"},
    {Command::watch, "watch", "Show arrivals, removals and decoded input reports",
     "Without recordings it ends with Ctrl-C, with recordings when all are played.\n"
     "Examples:\n"
     "  qrxhid watch --changes\n"
     "  qrxhid watch --device 046d: --count 10 --json\n"
     "  qrxhid watch --device 04d8:003f --wait\n"
     "  qrxhid watch --recording mouse.hid --speed 0"},
    {Command::demo, "demo", "Exercise the library with built-in virtual devices",
     "Example:\n"
     "  qrxhid demo"},
};

/// The options as CLI11 fills them, before they are checked.
struct RawOptions {
    std::vector<std::string> recordings;
    std::vector<std::string> devices;
    std::optional<std::string> speed;
    std::optional<std::string> count;
    bool json = false;
    bool wait = false;
    bool changes = false;
};

void addOptions(CLI::App& app, Command command, RawOptions& raw)
{
    if (command == Command::demo) {
        return;
    }
    app.add_option("--recording", raw.recordings,
                   "Work on recorded devices (text of hid-recorder) instead of the real ones; - reads standard input")
        ->type_name("FILE");
    app.add_option("--device", raw.devices,
                   "Only devices with these IDs, hexadecimal; a half that is 0 or empty is any")
        ->type_name("VID:PID")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    if (command != Command::dump) {
        app.add_flag("--json", raw.json, command == Command::watch ? "One JSON object a line" : "One JSON document")
            ->disable_flag_override();
    }
    if (command == Command::watch) {
        app.add_option("--speed", raw.speed,
                       "Play recordings at this multiple of their speed; 0: as fast as possible (1)")
            ->type_name("FACTOR");
        app.add_option("--count", raw.count, "End after this many input reports")->type_name("N");
        app.add_flag("--changes", raw.changes, "Of the decoded values show only those that changed")
            ->disable_flag_override();
        app.add_flag("--wait", raw.wait, "With --device: wait for a device that is not there yet")
            ->disable_flag_override();
    }
}

const CommandText* findCommand(std::string_view name)
{
    for (const CommandText& text : kCommands) {
        if (name == text.name) {
            return &text;
        }
    }
    return nullptr;
}

std::vector<std::string> commandNames()
{
    std::vector<std::string> names;
    for (const CommandText& text : kCommands) {
        names.emplace_back(text.name);
    }
    return names;
}

std::vector<std::string> optionNames(const CLI::App& app)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : app.get_options()) {
        for (const std::string& name : option->get_lnames()) {
            names.push_back("--" + name);
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
    CLI::App any;
    RawOptions raw;
    addOptions(any, Command::watch, raw);
    std::vector<std::string> known = optionNames(any);
    if (std::find(known.begin(), known.end(), option.substr(0, option.find('='))) == known.end()) {
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

/// CLI11 would only say that a command is missing.
void checkFirstWord(int count, const char* const* words)
{
    if (count < 2) {
        throw UsageError("a command is missing", kGeneralForm);
    }
    const std::string first = words[1];
    if (findCommand(first) != nullptr || first == "--help" || first == "-h" || first == "--version") {
        return;
    }
    if (first.starts_with("-")) {
        refuseEarlyOption(first, count, words);
    }
    const std::string nearest = nearestWord(first, commandNames());
    throw UsageError("\"" + first + "\" is not a command", nearest.empty() ? kGeneralForm : "qrxhid " + nearest);
}

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

double parseSpeed(const std::string& text)
{
    double speed = 0;
    if (!CLI::detail::lexical_cast(text, speed) || !std::isfinite(speed) || speed < 0) {
        throw UsageError("--speed " + text + ": not a number from 0 on",
                         "--speed 1, or --speed 0 for as fast as possible");
    }
    return speed;
}

std::uint64_t parseCount(const std::string& text)
{
    std::uint64_t count = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (error != std::errc() || end != text.data() + text.size() || count == 0) {
        throw UsageError("--count " + text + ": not a number from 1 on", "--count 10");
    }
    return count;
}

Options checkedOptions(Command command, const RawOptions& raw)
{
    Options options;
    options.command = command;
    options.recordings = raw.recordings;
    options.json = raw.json;
    options.wait = raw.wait;
    options.changes = raw.changes;
    for (const std::string& text : raw.devices) {
        options.devices.push_back(DeviceSelector::parse(text));
    }
    if (raw.speed) {
        options.speed = parseSpeed(*raw.speed);
    }
    if (raw.count) {
        options.count = parseCount(*raw.count);
    }
    if (raw.speed && raw.recordings.empty()) {
        throw UsageError("--speed is for recordings", "qrxhid watch --recording FILE... --speed FACTOR");
    }
    if (raw.wait && (raw.devices.empty() || !raw.recordings.empty())) {
        throw UsageError("--wait is for a real device that --device names", "qrxhid watch --device VID:PID --wait");
    }
    return options;
}

/// The parser and where it writes to.
struct Parser {
    CLI::App app{kOverview, "qrxhid"};
    std::map<Command, RawOptions> raw;

    Parser()
    {
        app.set_version_flag("--version", "qrxhid " QRXHID_VERSION);
        app.footer(kExitStatuses);
        app.require_subcommand(1);
        for (const CommandText& text : kCommands) {
            CLI::App* command = app.add_subcommand(text.name, text.summary);
            command->footer(text.examples);
            addOptions(*command, text.command, raw[text.command]);
        }
    }
};

} // namespace

CommandLine CommandLine::parse(int count, const char* const* words)
{
    checkFirstWord(count, words);
    Parser parser;
    try {
        parser.app.parse(count, words);
    } catch (const CLI::CallForHelp&) {
        return {{}, parser.app.help()};
    } catch (const CLI::CallForAllHelp&) {
        return {{}, parser.app.help("", CLI::AppFormatMode::All)};
    } catch (const CLI::CallForVersion& version) {
        return {{}, std::string(version.what()) + "\n"};
    } catch (const CLI::ExtrasError&) {
        refuseSurplus(*parser.app.get_subcommands().front());
    } catch (const CLI::ParseError& error) {
        const auto chosen = parser.app.get_subcommands();
        throw UsageError(error.what(), chosen.empty() ? kGeneralForm : helpHint(*chosen.front()));
    }
    const Command command = findCommand(parser.app.get_subcommands().front()->get_name())->command;
    return {checkedOptions(command, parser.raw[command]), std::nullopt};
}

} // namespace qrxhid
