#pragma once

#include "QrxVirtualDevice.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

/// A report to or from the device.
struct FuzzedReport {
    int interfaceNumber = 0;
    /// 0 input, 1 output, 2 feature, and 3, which is none.
    unsigned int type = 0;
    std::vector<std::uint8_t> bytes;
};

/// What an input stands for: parts of a length (2 bytes, little-endian) and as many bytes. The first two are the report
/// descriptors of interfaces 0 and 1, the second of which may be empty; then the device has no interface 1. The others
/// are reports after a byte of which bit 0 is the interface and bits 1 and 2 are the type.
struct FuzzedDevice {
    FuzzedDevice(const std::uint8_t* data, std::size_t size);

    /// Not plugged yet.
    QrxVirtualDevice makeDevice() const;

    std::vector<std::vector<std::uint8_t>> descriptors;
    std::vector<FuzzedReport> reports;
};
