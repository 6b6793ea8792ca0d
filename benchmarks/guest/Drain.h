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
    /// The longest report has this many bytes.
    static constexpr std::size_t kMostBytes = 64;

    virtual ~Drain() = default;

    /// What the figures call it.
    virtual std::string name() const = 0;
    /// Hands on everything that waits, up to the answer that nothing is left. `expected`: how many reports there are,
    /// for the one way that cannot ask.
    virtual void run(std::size_t expected) = 0;

    /// Before a run: the next reports have `bytes` bytes, of which the last two are the round and the report's number
    /// in it, from 0 on.
    void begin(std::uint8_t round, std::size_t bytes);
    /// Reports of the round that came in order and whole; 0 as soon as one did not.
    std::size_t received() const { return _isGood ? _next : 0; }

protected:
    Drain() = default;
    /// What each way does with a report; the same for all.
    void take(const std::uint8_t* bytes, std::size_t size)
    {
        _isGood = _isGood && size == _bytes && bytes[size - 2] == _round && bytes[size - 1] == _next;
        ++_next;
    }

private:
    std::uint8_t _round = 0;
    std::size_t _bytes = kMostBytes;
    std::size_t _next = 0;
    bool _isGood = true;
};

/// The library: a run loop that gets its turn, and the application's delegate. The node's device must be the only one.
std::unique_ptr<Drain> makeLibraryDrain();
/// hid_read_timeout(0) until it answers 0, hid_read in non-blocking mode until it answers 0, and hid_read in blocking
/// mode, which cannot be asked whether anything is left, as often as there are reports. Each by hidapi and by our library
/// of its interface.
std::vector<std::unique_ptr<Drain>> makeHidapiDrains(const std::string& node);
/// The floor: read, and, for reports of full length, readv over 63 buffers, each until nothing is left.
std::unique_ptr<Drain> makeReadDrain(const std::string& node);
std::unique_ptr<Drain> makeReadvDrain(const std::string& node);
