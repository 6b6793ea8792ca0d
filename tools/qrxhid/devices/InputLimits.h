#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace qrxhid {

class OptionSet;

/// The options of commands that take input: how fast recordings are played, and when there is enough.
class InputLimits {
public:
    void declareOptions(OptionSet& options);
    /// `command` is the one to try with recordings. Throws UsageError.
    void checkOptions(const std::string& command, bool hasRecordings);

    /// Times the recorded speed; 0 is as fast as the reports are taken.
    double speed() const { return _speed; }
    bool isEnough(std::uint64_t reports) const { return _count && reports >= *_count; }
    /// After how many seconds to end.
    std::optional<double> seconds() const { return _seconds; }

private:
    std::optional<std::string> _speedText;
    std::optional<std::string> _countText;
    std::optional<std::string> _secondsText;
    double _speed = 1;
    std::optional<std::uint64_t> _count;
    std::optional<double> _seconds;
};

} // namespace qrxhid
