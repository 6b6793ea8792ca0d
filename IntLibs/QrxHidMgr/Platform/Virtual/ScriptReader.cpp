// A rule is read from its front, word by word. A table says what may happen at which trigger and which operands it
// has; what is not understood is answered with what may stand in its place.

#include "ScriptReader.h"

#include "QrxRecording.h"
#include "Recordings/TextLines.h"

#include <algorithm>
#include <array>
#include <istream>

namespace qrx::platform::script {

using text_lines::nextWord;
using text_lines::number;
using text_lines::quoted;
using text_lines::trimmed;

namespace {

constexpr unsigned bit(Event event)
{
    return 1U << static_cast<unsigned>(event);
}

constexpr unsigned kReports = bit(Event::report);
constexpr unsigned kRequests = bit(Event::sent) | bit(Event::request);
constexpr unsigned kNotWithin = kReports | kRequests | bit(Event::time);
constexpr unsigned kEverywhere = kNotWithin | bit(Event::open) | bit(Event::plugged);

/// What may happen.
struct VerbRow {
    /// The words that it begins with.
    std::string_view words;
    Verb verb;
    /// Where it may stand, as bits.
    unsigned events;
    /// A letter for each operand: n a number, h a byte, b bytes, t a time, o "on N" or nothing, a "after TIME" or
    /// nothing.
    std::string_view operands;
    /// How it is shown in messages.
    std::string_view shown;
};

// "double" is Verb::repeat, because the word is a keyword of C++; "id" is Verb::number, the report's number.
constexpr std::array kVerbs{
    VerbRow{"drop", Verb::drop, kReports, "", "drop"},
    VerbRow{"double", Verb::repeat, kReports, "", "double"},
    VerbRow{"swap", Verb::swap, kReports, "", "swap"},
    VerbRow{"delay", Verb::delay, kReports, "t", "delay TIME"},
    VerbRow{"id", Verb::number, kReports, "h", "id HH"},
    VerbRow{"cut to", Verb::cut, kReports, "n", "cut to N"},
    VerbRow{"pad to", Verb::pad, kReports, "n", "pad to N"},
    VerbRow{"fill", Verb::fill, kReports, "", "fill"},
    VerbRow{"refuse", Verb::refuse, kRequests | bit(Event::open), "", "refuse"},
    VerbRow{"silence", Verb::silence, kRequests, "", "silence"},
    VerbRow{"wait", Verb::wait, kRequests, "t", "wait TIME"},
    VerbRow{"answer", Verb::answer, bit(Event::request), "b", "answer BYTES"},
    VerbRow{"send", Verb::send, kEverywhere, "boa", "send BYTES [on N] [after TIME]"},
    VerbRow{"unplug", Verb::unplug, kNotWithin, "", "unplug"},
    VerbRow{"plug", Verb::plug, kNotWithin, "a", "plug [after TIME]"},
    VerbRow{"garble strings", Verb::garble, kEverywhere, "", "garble strings"},
    VerbRow{"descriptor", Verb::descriptor, kEverywhere, "bo", "descriptor BYTES [on N]"},
};

std::string allowedAt(Event event)
{
    std::string list;
    // Made from the table, so that the message cannot name what the reader does not take.
    for (const VerbRow& row : kVerbs) {
        if ((row.events & bit(event)) != 0) {
            list += (list.empty() ? "" : ", ") + std::string(row.shown);
        }
    }
    return list;
}

/// Takes the words off the front if they stand there.
bool takeWords(std::string_view& text, std::string_view words)
{
    std::string_view rest = text;
    for (std::string_view word = nextWord(words); !word.empty(); word = nextWord(words)) {
        if (nextWord(rest) != word) {
            return false;
        }
    }
    text = rest;
    return true;
}

/// Two hexadecimal digits.
std::optional<std::uint8_t> byteOf(std::string_view word)
{
    const auto value = word.size() == 2 ? number(word, 16, 0xFF) : std::nullopt;
    return value ? std::optional(static_cast<std::uint8_t>(*value)) : std::nullopt;
}

} // namespace

bool Pattern::matches(std::span<const std::uint8_t> report) const
{
    return (hasRest ? report.size() >= bytes.size() : report.size() == bytes.size()) &&
           std::equal(bytes.begin(), bytes.end(), report.begin(),
                      [](const auto& wanted, std::uint8_t byte) { return !wanted || *wanted == byte; });
}

std::vector<std::uint8_t> Pattern::filled(std::span<const std::uint8_t> report) const
{
    std::vector<std::uint8_t> whole;
    for (std::size_t place = 0; place < bytes.size(); ++place) {
        whole.push_back(bytes[place].value_or(place < report.size() ? report[place] : 0));
    }
    return whole;
}

void ScriptReader::fail(const std::string& reason) const
{
    throw QrxRecordingError(_fileName, _line, reason);
}

void ScriptReader::read(std::istream& text)
{
    text_lines::Reader lines(text);
    for (std::string_view line; lines.next(line);) {
        readLine(line, lines.number());
    }
    if (!lines.fault().empty()) {
        _line = lines.number();
        fail(lines.fault());
    }
}

void ScriptReader::readLine(std::string_view line, std::size_t lineNumber)
{
    _line = lineNumber;
    // Unlike in a recording, a comment may follow a rule: no operand contains the sign.
    line = trimmed(line.substr(0, line.find('#')));
    if (line.empty()) {
        return;
    }
    if (takeWords(line, "seed")) {
        _rules.seed = takeNumber(line, "seed", UINT64_MAX);
        return finish(line);
    }
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) {
        fail("a rule is a trigger, a colon and what happens (report 5: drop), not " + quoted(line));
    }
    Rule rule{readTrigger(line.substr(0, colon)), {}};
    for (std::string_view rest = line.substr(colon + 1);;) {
        const std::size_t comma = rest.find(',');
        // A script may come with a bug report as a recording does: what it makes the program hold is bounded.
        if (_rules.actionCount + rule.actions.size() == kMaximumActions) {
            fail("more than " + std::to_string(kMaximumActions) + " things that may happen in all rules");
        }
        rule.actions.push_back(readAction(trimmed(rest.substr(0, comma)), rule.trigger.event));
        if (comma == std::string_view::npos) {
            break;
        }
        rest.remove_prefix(comma + 1);
    }
    std::size_t bytes = rule.trigger.pattern.bytes.size();
    for (const Action& action : rule.actions) {
        bytes += action.bytes.bytes.size();
    }
    if (_rules.byteCount + bytes > kMaximumAllBytes) {
        fail("more than " + std::to_string(kMaximumAllBytes) + " bytes in all rules");
    }
    _rules.actionCount += rule.actions.size();
    _rules.byteCount += bytes;
    _rules.rules.push_back(std::move(rule));
}

void ScriptReader::readCount(std::string_view& text, Trigger& trigger) const
{
    if (takeWords(text, "once")) {
        trigger.times = 1;
        return;
    }
    // A word that is no number leaves the text as it is: it is the trigger then.
    std::string_view rest = text;
    const auto times = number(nextWord(rest), 10, UINT64_MAX);
    if (times && takeWords(rest, "times")) {
        trigger.times = *times;
        text = rest;
    }
}

Trigger ScriptReader::readTrigger(std::string_view text) const
{
    Trigger trigger;
    readCount(text, trigger);
    const std::string_view word = nextWord(text);
    if (word == "report" || word == "every" || word == "chance") {
        readReports(word, text, trigger);
    } else if (word == "after") {
        trigger.event = Event::time;
        trigger.time = takeTime(text);
        finish(text);
    } else if (word == "when") {
        readWhen(text, trigger);
    } else {
        fail("a rule begins with report N, every N reports, chance P%, after TIME or when, not " + quoted(word));
    }
    return trigger;
}

void ScriptReader::readReports(std::string_view word, std::string_view text, Trigger& trigger) const
{
    if (word == "report") {
        trigger.number = takeNumber(text, "report", UINT64_MAX);
    } else if (word == "every") {
        trigger.every = takeNumber(text, "every", UINT64_MAX);
        if (!takeWords(text, "reports")) {
            fail("every N is followed by \"reports\"");
        }
    } else {
        std::string_view percent = nextWord(text);
        const bool isPercent = percent.ends_with('%');
        percent.remove_suffix(isPercent ? 1 : 0);
        const auto chance = number(percent, 10, 100);
        if (!isPercent || !chance) {
            fail("chance needs a percentage from 0% to 100%");
        }
        trigger.percent = static_cast<unsigned>(*chance);
    }
    if ((word == "report" && trigger.number == 0) || (word == "every" && trigger.every == 0)) {
        fail("reports are counted from 1");
    }
    trigger.interfaceNumber = takeInterface(text);
    finish(text);
}

void ScriptReader::readWhen(std::string_view text, Trigger& trigger) const
{
    const std::string_view word = nextWord(text);
    if (word == "get") {
        return readRequest(text, trigger);
    }
    if (word == "output" || word == "feature") {
        trigger.event = Event::sent;
        trigger.type = word == "output" ? ReportType::output : ReportType::feature;
        trigger.pattern = takeBytes(text);
        trigger.pattern.hasRest = takeWords(text, "...");
    } else if (word == "open") {
        trigger.event = Event::open;
    } else if (word == "plugged") {
        trigger.event = Event::plugged;
        return finish(text);
    } else {
        fail("after \"when\" stands output BYTES, feature BYTES, get input, get output, get feature, open or plugged, "
             "not " +
             quoted(word));
    }
    trigger.interfaceNumber = takeInterface(text);
    finish(text);
}

void ScriptReader::readRequest(std::string_view text, Trigger& trigger) const
{
    trigger.event = Event::request;
    const std::string_view word = nextWord(text);
    if (word == "input" || word == "output" || word == "feature") {
        trigger.type = word == "input"    ? ReportType::input
                       : word == "output" ? ReportType::output
                                          : ReportType::feature;
    } else {
        fail("after \"when get\" stands input, output or feature, not " + quoted(word));
    }
    std::string_view rest = text;
    // The report's number may be left out, and what follows it as well.
    if (const std::string_view id = nextWord(rest); id != "on" && !id.empty()) {
        trigger.reportID = byteOf(id);
        if (!trigger.reportID) {
            fail("the number of a report is two hexadecimal digits, not " + quoted(id));
        }
        text = rest;
    }
    trigger.interfaceNumber = takeInterface(text);
    finish(text);
}

Action ScriptReader::readAction(std::string_view text, Event event) const
{
    const std::string_view whole = text;
    // No row is a prefix of another one, so the first that fits is the one meant.
    for (const VerbRow& row : kVerbs) {
        if ((row.events & bit(event)) == 0 || !takeWords(text, row.words)) {
            continue;
        }
        Action action;
        action.verb = row.verb;
        readOperands(text, std::string(row.operands), action);
        const bool hasGaps = !std::ranges::all_of(action.bytes.bytes, [](const auto& byte) { return bool(byte); });
        if (hasGaps && (row.verb == Verb::descriptor || (event != Event::report && event != Event::sent))) {
            fail("?? stands for a byte of a report, and there is none here");
        }
        return action;
    }
    fail("what may happen here is " + allowedAt(event) + ", not " + quoted(whole));
}

void ScriptReader::readOperands(std::string_view text, const std::string& wanted, Action& action) const
{
    for (const char operand : wanted) {
        switch (operand) {
        case 'n':
            action.count = takeNumber(text, "to", kMaximumBytes);
            break;
        case 'h':
            if (const std::string_view word = nextWord(text); const auto byte = byteOf(word)) {
                action.count = *byte;
            } else {
                fail("id needs two hexadecimal digits, not " + quoted(word));
            }
            break;
        case 'b':
            action.bytes = takeBytes(text);
            break;
        case 't':
            action.time = takeTime(text);
            break;
        case 'o':
            action.interfaceNumber = takeInterface(text);
            break;
        default:
            if (takeWords(text, "after")) {
                action.time = takeTime(text);
            }
        }
    }
    finish(text);
}

std::optional<int> ScriptReader::takeInterface(std::string_view& text) const
{
    if (!takeWords(text, "on")) {
        return std::nullopt;
    }
    return static_cast<int>(takeNumber(text, "on", 0xFF));
}

std::chrono::microseconds ScriptReader::takeTime(std::string_view& text) const
{
    const auto count = number(nextWord(text), 10, static_cast<std::uint64_t>(kLongestTime.count()));
    const std::string_view unit = nextWord(text);
    const std::int64_t us = unit == "us"    ? 1
                            : unit == "ms"  ? 1'000
                            : unit == "s"   ? 1'000'000
                            : unit == "min" ? 60'000'000
                                            : 0;
    // Divided and not multiplied: the product of a large count could overflow.
    if (!count || us == 0 || static_cast<std::int64_t>(*count) > kLongestTime.count() / us) {
        fail("a time is a number and us, ms, s or min, at most a day: 5 ms");
    }
    return std::chrono::microseconds(static_cast<std::int64_t>(*count) * us);
}

std::uint64_t ScriptReader::takeNumber(std::string_view& text, const char* what, std::uint64_t maximum) const
{
    const std::string_view word = nextWord(text);
    const auto value = number(word, 10, maximum);
    if (!value) {
        fail(std::string(what) + " needs a number of at most " + std::to_string(maximum) + ", not " + quoted(word));
    }
    return *value;
}

Pattern ScriptReader::takeBytes(std::string_view& text) const
{
    Pattern pattern;
    for (std::string_view rest = text;; text = rest) {
        const std::string_view word = nextWord(rest);
        const auto byte = byteOf(word);
        if (!byte && word != "??") {
            break;
        }
        if (pattern.bytes.size() == kMaximumBytes) {
            fail("more than " + std::to_string(kMaximumBytes) + " bytes");
        }
        pattern.bytes.push_back(byte);
    }
    return pattern;
}

void ScriptReader::finish(std::string_view rest) const
{
    if (!trimmed(rest).empty()) {
        fail("nothing more may stand here, but " + quoted(trimmed(rest)) +
             " follows; bytes are two hexadecimal digits each");
    }
}

} // namespace qrx::platform::script
