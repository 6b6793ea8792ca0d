#pragma once

#include "RatioReporter.h"

#include <cstddef>
#include <string>

/// From the bytes of a report to values by usage: what QrxReportLayout costs for the usual kinds of devices, beside a
/// loop that reads the same bits from places that it knows.
namespace decoding {

/// A gamepad of 17 fields, keyboards of 122 and 276, and an array of 16,000 usages.
void registerBenchmarks(RatioReporter& reporter);

/// Decodes `count` reports of the device named ("gamepad-17", "keyboard-122", "keyboard-276", "array-16000").
void decode(const std::string& device, std::size_t count);

} // namespace decoding
