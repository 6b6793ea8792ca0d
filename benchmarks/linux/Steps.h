#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

/// The steps of a program that is measured from inside (time, heap) and counted from outside (system calls).
///
/// Each step is bracketed by calls that a trace shows and nothing else makes: access("/begin STEP") and
/// access("/end STEP"), of files that do not exist. At the end of the program a line a step is printed:
/// "STEP FOUND WALL_NS CPU_NS ALLOCATIONS".
class Steps {
public:
    Steps() = default;
    ~Steps();
    Steps(const Steps&) = delete;
    Steps& operator=(const Steps&) = delete;

    /// Does the work once. `count` is called afterwards, out of the measurement, and answers how much was found.
    void run(const std::string& name, const std::function<void()>& work, const std::function<std::size_t()>& count);

private:
    struct Step {
        std::string name;
        std::size_t found = 0;
        std::int64_t wallNs = 0;
        std::int64_t cpuNs = 0;
        std::uint64_t allocations = 0;
    };
    std::vector<Step> _steps;
};

/// How often the steps that may be repeated are, from the command line: `program [TIMES]`, by default once.
std::size_t timesOf(int argc, char** argv);
