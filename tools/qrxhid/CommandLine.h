#pragma once

#include "devices/DeviceSelector.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrxhid {

enum class Command { list, tree, dump, watch, record, doctor, rule, demo };

/// What the command line asks for.
struct Options {
    Command command = Command::list;
    /// Files; none means the real devices.
    std::vector<std::string> recordings;
    /// None means all.
    std::vector<DeviceSelector> devices;
    /// What a rule is for.
    DeviceIdentity ruleDevice;
    bool json = false;
    /// Playing speed; 0 is as fast as the reports are taken.
    double speed = 1;
    /// Input reports after which to end.
    std::optional<std::uint64_t> count;
    /// Of decoded values only those that changed.
    bool changes = false;
    /// Wait for a selected device that is not there yet.
    bool wait = false;
    /// Where a recording goes; empty or "-" is standard output.
    std::string output;
    /// After which recording ends.
    std::optional<double> seconds;
    /// The only interface that a rule is for.
    std::optional<int> interfaceNumber;
    /// Below which doctor finds /sys, /dev and the rest; for tests.
    std::string systemRoot;
    /// In whose place doctor asks, judged by owner and mode alone; for tests.
    std::optional<unsigned int> userID;
};

/// Either options, or a text (help, version) to show and be done.
struct CommandLine {
    Options options;
    std::optional<std::string> text;

    /// Throws UsageError.
    static CommandLine parse(int count, const char* const* words);
};

} // namespace qrxhid
