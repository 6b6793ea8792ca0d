#pragma once

#include <string_view>

namespace qrxhid {

/// One line of standard error that says how far a long work is, and is gone when it is done. Only for a person who
/// looks at a terminal: to anything else it writes nothing.
class ProgressLine {
public:
    ProgressLine();
    ~ProgressLine();
    ProgressLine(const ProgressLine&) = delete;
    ProgressLine& operator=(const ProgressLine&) = delete;

    void show(std::string_view text);

private:
    const bool _isSeen;
    bool _isShown = false;
};

} // namespace qrxhid
