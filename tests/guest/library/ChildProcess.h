#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace qrx::guest {

/// A program that runs beside the test, its standard output and standard error read by the test. Ended with the object.
class ChildProcess {
public:
    /// Starts it, as user `userID`. Throws std::runtime_error if it cannot be started.
    explicit ChildProcess(std::vector<std::string> words, unsigned userID = 0);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Reads until `isEnough` of all that was written so far. Returns what was written, enough or not within the rig's
    /// patience.
    const std::string& readUntil(const std::function<bool(const std::string&)>& isEnough);
    /// Reads until a line that begins with `start` has been written `count` times.
    bool waitForLines(const std::string& start, std::size_t count = 1);
    const std::string& output() const { return _output; }
    /// Paths that the child's descriptors stand for.
    std::vector<std::string> openFiles() const;
    /// How many of them are report nodes.
    std::size_t openNodes() const;
    /// It runs no further until it is resumed.
    void pause();
    void resume();
    /// Asks it to end (SIGTERM), reads the rest, and returns its exit status; -1 if a signal ended it.
    int end();

private:
    bool readSome(int timeoutMs);

    pid_t _child = -1;
    int _fd = -1;
    std::string _output;
};

} // namespace qrx::guest
