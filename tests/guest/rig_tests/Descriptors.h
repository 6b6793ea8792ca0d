#pragma once

#include "support/GuestFiles.h"

#include <cstdint>

namespace qrx::guest {

/// A vendor-defined descriptor with one report of each kind, `length` bytes each (up to 65,535), without report
/// numbers.
inline Bytes plainDescriptor(std::uint16_t length)
{
    const auto low = static_cast<std::uint8_t>(length & 0xFF);
    const auto high = static_cast<std::uint8_t>(length >> 8);
    return {
        0x06, 0x00, 0xFF,       // Usage Page (vendor)
        0x09, 0x01,             // Usage (1)
        0xA1, 0x01,             // Collection (Application)
        0x15, 0x00,             //   Logical Minimum (0)
        0x26, 0xFF, 0x00,       //   Logical Maximum (255)
        0x75, 0x08,             //   Report Size (8)
        0x96, low,  high,       //   Report Count (length)
        0x09, 0x02, 0x81, 0x02, //   Usage (2), Input
        0x09, 0x03, 0x91, 0x02, //   Usage (3), Output
        0x09, 0x04, 0xB1, 0x02, //   Usage (4), Feature
        0xC0                    // End Collection
    };
}

/// Reports numbered 1 (8 bytes) and 2 (3 bytes), each as input, output and feature; the number is not counted.
inline Bytes numberedDescriptor()
{
    Bytes bytes{0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01, 0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08};
    for (const std::uint8_t number : {std::uint8_t{1}, std::uint8_t{2}}) {
        const std::uint8_t count = number == 1 ? 8 : 3;
        const Bytes report{0x85, number, 0x95, count, 0x09, 0x02, 0x81, 0x02,
                           0x09, 0x03,   0x91, 0x02,  0x09, 0x04, 0xB1, 0x02};
        bytes.insert(bytes.end(), report.begin(), report.end());
    }
    bytes.push_back(0xC0);
    return bytes;
}

/// `length` bytes that differ by place and by `seed`.
inline Bytes pattern(std::size_t length, std::uint8_t seed)
{
    Bytes bytes(length);
    for (std::size_t index = 0; index < length; ++index)
        bytes[index] = static_cast<std::uint8_t>(seed + index * 7);
    return bytes;
}

} // namespace qrx::guest
