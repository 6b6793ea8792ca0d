#include "CommandLine.h"

#include "NearestWord.h"
#include "UsageError.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <iterator>
#include <map>

namespace qrxhid {

namespace {

constexpr const char* kGeneralForm = "qrxhid list|tree|dump|watch|record|doctor|rule|demo [OPTIONS]";

constexpr const char* kOverview = R"(USB HID devices: what is there, what it can say, what it says.

Examples:
  qrxhid list                              the HID devices of this machine
  qrxhid tree --device 046d:               elements and reports of one vendor's devices
  qrxhid dump --device 04d8:003f           the library's own description of one device
  qrxhid watch                             arrivals, removals and decoded input until Ctrl-C
  qrxhid watch --recording mouse.hid       the same for a recorded device
  qrxhid record --device 046d:c077         a device and its input as a recording
  qrxhid doctor                            why a device cannot be used, and what would help
  qrxhid rule 04d8:003f                    the udev rule that opens one device to whoever sits here
  qrxhid demo                              virtual devices: needs no hardware
)";

constexpr const char* kExitStatuses =
    R"(Exit status: 0 success; 1 a device is not there, cannot be used, or the output cannot be written;
2 a recording does not parse; 3 doctor finds no device; 4 this user may not use a device;
64 wrong command line.)";

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
    {Command::record, "record", "Write a device's interfaces and input as a recording",
     "It ends with Ctrl-C, when the device leaves, or after a count or time. Whenever it ends, what is written is a\n"
     "recording that hid-replay and this program take.\n"
     "Examples:\n"
     "  qrxhid record --device 046d:c077 --output mouse.hid\n"
     "  qrxhid record --device 04d8:003f --count 100 --time 10"},
    {Command::doctor, "doctor", "Say for each device whether it can be used, and if not, why and what to do",
     "It reads and opens nothing.\n"
     "Examples:\n"
     "  qrxhid doctor\n"
     "  qrxhid doctor 04d8:003f --json"},
    {Command::rule, "rule", "Print a udev rule file that opens one device to whoever sits at the machine",
     "Example:\n"
     "  qrxhid rule 04d8:003f | sudo tee /etc/udev/rules.d/70-qrxhid-04d8-003f.rules"},
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
    std::optional<std::string> seconds;
    std::optional<std::string> interfaceNumber;
    std::optional<std::string> userID;
    std::string output;
    std::string systemRoot;
    bool json = false;
    bool wait = false;
    bool changes = false;
};

/// In help this group is not shown.
constexpr const char* kHidden = "";

void addDoctorOptions(CLI::App& app, RawOptions& raw)
{
    app.add_option("devices", raw.devices, "Only devices with these IDs")->type_name("VID:PID");
    app.add_flag("--json", raw.json, "One JSON document")->disable_flag_override();
    app.add_option("--sysroot", raw.systemRoot)->group(kHidden);
    app.add_option("--uid", raw.userID)->group(kHidden);
}

void addRuleOptions(CLI::App& app, RawOptions& raw)
{
    app.add_option("device", raw.devices, "The device's IDs, hexadecimal")
        ->type_name("VID:PID")
        ->required()
        ->expected(1);
    app.add_option("--interface", raw.interfaceNumber, "Only this interface of the device")->type_name("N");
}

void addRecordOptions(CLI::App& app, RawOptions& raw)
{
    app.add_option("--output", raw.output, "Write to this file instead of standard output")->type_name("FILE");
    app.add_option("--time", raw.seconds, "End after this many seconds")->type_name("S");
}

/// What watch and record have in common.
void addInputOptions(CLI::App& app, RawOptions& raw)
{
    app.add_option("--speed", raw.speed, "Play recordings at this multiple of their speed; 0: as fast as possible (1)")
        ->type_name("FACTOR");
    app.add_option("--count", raw.count, "End after this many input reports")->type_name("N");
}

void addOptions(CLI::App& app, Command command, RawOptions& raw)
{
    switch (command) {
    case Command::demo:
        return;
    case Command::doctor:
        return addDoctorOptions(app, raw);
    case Command::rule:
        return addRuleOptions(app, raw);
    default:
        break;
    }
    app.add_option("--recording", raw.recordings,
                   "Work on recorded devices (text of hid-recorder) instead of the real ones; - reads standard input")
        ->type_name("FILE");
    app.add_option("--device", raw.devices,
                   "Only devices with these IDs, hexadecimal; a half that is 0 or empty is any")
        ->type_name("VID:PID")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    if (command != Command::dump && command != Command::record) {
        app.add_flag("--json", raw.json, command == Command::watch ? "One JSON object a line" : "One JSON document")
            ->disable_flag_override();
    }
    if (command == Command::record) {
        addInputOptions(app, raw);
        addRecordOptions(app, raw);
    }
    if (command == Command::watch) {
        addInputOptions(app, raw);
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
    std::vector<std::string> known;
    for (const CommandText& text : kCommands) {
        CLI::App any;
        RawOptions raw;
        addOptions(any, text.command, raw);
        std::ranges::copy(optionNames(any), std::back_inserter(known));
    }
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

double parseSeconds(const std::string& text)
{
    double seconds = 0;
    if (!CLI::detail::lexical_cast(text, seconds) || !std::isfinite(seconds) || seconds <= 0) {
        throw UsageError("--time " + text + ": not a number of seconds above 0", "--time 10");
    }
    // Thirty years: what clocks count in whole nanoseconds.
    constexpr double kLongest = 1e9;
    return std::min(seconds, kLongest);
}

unsigned int parseWhole(const char* option, const std::string& text, unsigned int limit)
{
    unsigned int number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number > limit) {
        throw UsageError(std::string(option) + " " + text + ": not a number from 0 to " + std::to_string(limit),
                         std::string(option) + " 0");
    }
    return number;
}

/// Everybody's keyboard is a HID device: no rule opens more than what somebody has asked for by name.
DeviceIdentity parseRuleDevice(const std::string& text)
{
    const std::optional<DeviceIdentity> device = parseIdentity(text);
    if (!device) {
        throw UsageError("a rule for " + DeviceSelector::parse(text, "").text() +
                             " would open more than one kind of device, and with them keyboards that passwords are "
                             "typed on; a rule names both IDs",
                         "qrxhid list, then qrxhid rule VID:PID");
    }
    return *device;
}

void checkRecordedDevice(const Options& options)
{
    if (options.devices.empty() && options.recordings.size() != 1) {
        throw UsageError("which device?", "qrxhid record --device VID:PID");
    }
}

void takeFurtherOptions(Options& options, const RawOptions& raw)
{
    options.output = raw.output;
    options.systemRoot = raw.systemRoot;
    if (raw.seconds) {
        options.seconds = parseSeconds(*raw.seconds);
    }
    if (raw.interfaceNumber) {
        options.interfaceNumber = static_cast<int>(parseWhole("--interface", *raw.interfaceNumber, UINT8_MAX));
    }
    if (raw.userID) {
        options.userID = parseWhole("--uid", *raw.userID, UINT32_MAX);
    }
    if (options.command == Command::record) {
        checkRecordedDevice(options);
    }
}

Options checkedOptions(Command command, const RawOptions& raw)
{
    const std::string_view option = command == Command::doctor ? "" : "--device ";
    Options options;
    options.command = command;
    options.recordings = raw.recordings;
    options.json = raw.json;
    options.wait = raw.wait;
    options.changes = raw.changes;
    if (command == Command::rule) {
        options.ruleDevice = parseRuleDevice(raw.devices.front());
    } else {
        for (const std::string& text : raw.devices) {
            options.devices.push_back(DeviceSelector::parse(text, option));
        }
    }
    if (raw.speed) {
        options.speed = parseSpeed(*raw.speed);
    }
    if (raw.count) {
        options.count = parseCount(*raw.count);
    }
    if (raw.speed && raw.recordings.empty()) {
        throw UsageError("--speed is for recordings",
                         (command == Command::record ? std::string("qrxhid record") : std::string("qrxhid watch")) +
                             " --recording FILE... --speed FACTOR");
    }
    if (raw.wait && (raw.devices.empty() || !raw.recordings.empty())) {
        throw UsageError("--wait is for a real device that --device names", "qrxhid watch --device VID:PID --wait");
    }
    takeFurtherOptions(options, raw);
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
