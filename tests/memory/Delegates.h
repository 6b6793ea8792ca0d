#pragma once

#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxHIDDevice.h>
#include <QrxHIDDeviceDelegateInterface.h>

#include <cstddef>
#include <iostream>
#include <streambuf>

/// Delegates that need no memory of their own.

struct Arrivals final : QrxDeviceTreeDelegateInterface {
    void deviceAdded(mis::swizzler<QrxHIDDevice>) override { ++count; }
    int count = 0;
};

/// Counts reports where it finds the counter; a device deletes its delegate.
class InputCounter final : public QrxHIDDeviceDelegateInterface {
public:
    explicit InputCounter(std::size_t& count) : _count(count) {}
    void handleReport(std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override { ++_count; }
    void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override
    {
    }

private:
    std::size_t& _count;
};

/// Counts the lines on standard output while it lives, and needs no memory for that.
class CapturedLines {
public:
    CapturedLines() : _previous(std::cout.rdbuf(&_buffer)) {}
    ~CapturedLines() { std::cout.rdbuf(_previous); }
    CapturedLines(const CapturedLines&) = delete;
    CapturedLines& operator=(const CapturedLines&) = delete;
    int count() const { return _buffer.lines; }

private:
    struct Buffer final : std::streambuf {
        int_type overflow(int_type character) override
        {
            lines += character == '\n' ? 1 : 0;
            return traits_type::not_eof(character);
        }
        int lines = 0;
    };
    Buffer _buffer;
    std::streambuf* _previous;
};
