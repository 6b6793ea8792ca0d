#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// One way to read the reports that wait at a report node. All of them have the node open at the same time, and each
/// has a queue of its own in the kernel, so that the same reports wait for every one.
class Drain {
public:
    /// Of a report.
    static constexpr std::size_t kBytes = 64;

    virtual ~Drain() = default;

    /// What the figures call it.
    virtual std::string name() const = 0;
    /// Hands on everything that waits, up to the answer that nothing is left. `expected`: how many reports there are,
    /// for the one way that cannot ask.
    virtual void run(std::size_t expected) = 0;

    /// Before a run: the next reports are numbered from 0 on and belong to this round.
    void begin(std::uint8_t round);
    /// Reports of the round that came in order and whole; 0 as soon as one did not.
    std::size_t received() const { return _isGood ? _next : 0; }

protected:
    Drain() = default;
    /// What each way does with a report; the same for all.
    void take(const std::uint8_t* bytes, std::size_t size)
    {
        _isGood = _isGood && size == kBytes && bytes[0] == _round && bytes[1] == _next;
        ++_next;
    }

private:
    std::uint8_t _round = 0;
    std::size_t _next = 0;
    bool _isGood = true;
};

/// The library: a run loop that gets its turn, and the application's delegate. The node's device must be the only one.
std::unique_ptr<Drain> makeLibraryDrain();
/// hid_read_timeout(0) until it answers 0, hid_read in non-blocking mode until it answers 0, and hid_read in blocking
/// mode, which cannot be asked whether anything is left, as often as there are reports.
std::vector<std::unique_ptr<Drain>> makeHidapiDrains(const std::string& node);
/// The floor: readv over 63 buffers, and read, each until nothing is left.
std::vector<std::unique_ptr<Drain>> makePlainDrains(const std::string& node);
