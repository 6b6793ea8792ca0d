#pragma once

#include "text/ProgressLine.h"

#include "QrxRunLoop.h"

#include <chrono>
#include <cstdint>

namespace qrxhid {

/// Tells a person who looks at a terminal how many reports have come, while the reports themselves go to a file. Drawn
/// by a timer of the run loop.
class InputProgress {
public:
    /// `total` is how many will come, 0 where nobody knows.
    explicit InputProgress(std::uint64_t total);
    ~InputProgress();
    InputProgress(const InputProgress&) = delete;
    InputProgress& operator=(const InputProgress&) = delete;

    void noteReport() { ++_reports; }

private:
    void draw();

    ProgressLine _line;
    std::uint64_t _total;
    std::uint64_t _reports = 0;
    std::chrono::steady_clock::time_point _start = std::chrono::steady_clock::now();
    QrxRunLoop::Timer _timer;
};

} // namespace qrxhid
