#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace qrxhid {

// The values of options, from their texts. Each throws UsageError with the option's name if the text is no such value.

/// A playing speed: a number from 0 on.
double parseSpeed(const std::string& text);

/// How many reports: from 1 on.
std::uint64_t parseCount(const std::string& text);

/// A time in seconds above 0, for `option`; thirty years at most, which clocks can count in whole nanoseconds.
double parseSeconds(const std::string& option, const std::string& text);

/// A whole decimal number from 0 to `limit`, for `option` ("--interface").
unsigned int parseWhole(std::string_view option, const std::string& text, unsigned int limit);

/// The number of a USB interface: a byte.
int parseInterface(const std::string& text);

} // namespace qrxhid
