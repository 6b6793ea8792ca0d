#pragma once

#include "Provider/Provider.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

/// The rules of a QrxVirtualScript as they are kept: what its text says, checked.
namespace qrx::platform::script {

/// What a rule is about. The table of verbs in ScriptReader.cpp uses the values as bit numbers.
enum class Event { report, sent, request, open, plugged, time };

/// Bytes with gaps: no value stands for any byte, or for that of another report.
struct Pattern {
    std::vector<std::optional<std::uint8_t>> bytes;
    /// More may follow.
    bool hasRest = false;

    bool matches(std::span<const std::uint8_t> report) const;
    /// The bytes, with those of `report` in the gaps and 0 past its end.
    std::vector<std::uint8_t> filled(std::span<const std::uint8_t> report) const;
};

struct Trigger {
    Event event = Event::report;
    /// For a sent or requested report.
    ReportType type = ReportType::output;
    /// No value: any interface.
    std::optional<int> interfaceNumber;
    /// For a sent report.
    Pattern pattern;
    /// For a requested report; no value: any.
    std::optional<std::uint32_t> reportID;
    /// For an input report exactly one of these is set: the Nth report, each Nth one, or each one with this
    /// probability.
    std::uint64_t number = 0;
    std::uint64_t every = 0;
    std::optional<unsigned> percent;
    /// For an event of time: that long after the script began.
    std::chrono::microseconds time{0};
    /// How often the rule acts; no value: without end.
    std::optional<std::uint64_t> times;
};

enum class Verb {
    drop,
    repeat,
    swap,
    delay,
    number,
    cut,
    pad,
    fill,
    refuse,
    silence,
    wait,
    answer,
    send,
    unplug,
    plug,
    garble,
    descriptor
};

struct Action {
    Verb verb = Verb::drop;
    /// The operands of the verb; each verb uses those that its row in ScriptReader.cpp names. `count` is a length for
    /// cut and pad, a byte for number; `time` is what delay and wait take, and how much later send and plug happen.
    std::size_t count = 0;
    Pattern bytes;
    std::chrono::microseconds time{0};
    /// No value: for send, that of the report or the opening, else the first HID interface; for descriptor, the first.
    std::optional<int> interfaceNumber;
};

struct Rule {
    Trigger trigger;
    std::vector<Action> actions;
};

struct Rules {
    std::vector<Rule> rules;
    /// Summed over all rules.
    std::size_t actionCount = 0;
    std::size_t byteCount = 0;
    std::uint64_t seed = 1;
};

} // namespace qrx::platform::script
