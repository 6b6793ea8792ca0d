#pragma once

#include "ScriptRules.h"

#include <iosfwd>
#include <string>
#include <string_view>

namespace qrx::platform::script {

/// The most actions, and the most bytes of patterns, that all rules of a script have together. A script may come from
/// somebody else: what it makes the program hold is bounded.
constexpr std::size_t kMaximumActions = 10'000;
constexpr std::size_t kMaximumAllBytes = 4 * 1024 * 1024;
/// Longest time of a rule.
constexpr std::chrono::microseconds kLongestTime = std::chrono::hours(24);
/// Most bytes of a report or descriptor, as in recordings.
constexpr std::size_t kMaximumBytes = 65'535;

/// Reads the rules of a script; see QrxVirtualScript for the format. Throws QrxRecordingError.
class ScriptReader {
public:
    ScriptReader(const std::string& fileName, Rules& rules) : _fileName(fileName), _rules(rules) {}
    void read(std::istream& text);
    void readLine(std::string_view line, std::size_t number);

private:
    [[noreturn]] void fail(const std::string& reason) const;

    Trigger readTrigger(std::string_view text) const;
    void readCount(std::string_view& text, Trigger& trigger) const;
    void readReports(std::string_view word, std::string_view text, Trigger& trigger) const;
    void readWhen(std::string_view text, Trigger& trigger) const;
    void readRequest(std::string_view text, Trigger& trigger) const;
    Action readAction(std::string_view text, Event event) const;
    void readOperands(std::string_view text, const std::string& wanted, Action& action) const;

    std::optional<int> takeInterface(std::string_view& text) const;
    std::chrono::microseconds takeTime(std::string_view& text) const;
    std::uint64_t takeNumber(std::string_view& text, const char* what, std::uint64_t maximum) const;
    Pattern takeBytes(std::string_view& text) const;
    void finish(std::string_view rest) const;

    const std::string _fileName;
    Rules& _rules;
    std::size_t _line = 0;
};

} // namespace qrx::platform::script
