#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// Report descriptors for measuring, made to size.

/// Three buttons, X, Y and wheel: 4 byte reports.
std::vector<std::uint8_t> mouseDescriptor();
/// A boot keyboard whose key array spans usages 0 to `lastUsage`.
std::vector<std::uint8_t> keyboardDescriptor(std::uint8_t lastUsage);
/// One unnumbered vendor input report of `bytes` bytes.
std::vector<std::uint8_t> vendorDescriptor(std::size_t bytes);
/// About `count` one-bit elements, in items of 128 usages.
std::vector<std::uint8_t> descriptorOfElements(std::size_t count);
/// All 255 report numbers, each with as many one-bit elements of its own, and padding up to the 4,096 bytes that a
/// descriptor may have. Every `variant` is another descriptor.
std::vector<std::uint8_t> descriptorOfReports(std::uint8_t elementsEach, std::uint8_t variant);
