#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// The floor: the leanest loop that a program could write by hand. One descriptor, one report a read, no copies, no
/// objects: poll, read, call a function.
class PlainLoop {
public:
    using Receiver = void (*)(const std::uint8_t* bytes, std::size_t count, void* context);

    PlainLoop(Receiver receiver, void* context);
    ~PlainLoop();
    PlainLoop(const PlainLoop&) = delete;
    PlainLoop& operator=(const PlainLoop&) = delete;

    void send(const std::vector<std::uint8_t>& report);
    /// Polls, reads and hands over until `count` reports were delivered.
    void deliver(std::size_t count);

private:
    Receiver _receiver;
    void* _context;
    int _ends[2];
    std::vector<std::uint8_t> _buffer;
};
