#include "OptionValues.h"

#include "UsageError.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace qrxhid {

namespace {

/// Nothing may follow the number.
template <class Number>
bool isWhole(const std::string& text, Number& number)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
}

// Not every standard library has std::from_chars for it.
bool isWhole(const std::string& text, double& number)
{
    char* end = nullptr;
    number = std::strtod(text.c_str(), &end);
    return !text.empty() && end == text.c_str() + text.size();
}

} // namespace

double parseSpeed(const std::string& text)
{
    double speed = 0;
    if (!isWhole(text, speed) || !std::isfinite(speed) || speed < 0) {
        throw UsageError("--speed " + text + ": not a number from 0 on",
                         "--speed 1, or --speed 0 for as fast as possible");
    }
    return speed;
}

std::uint64_t parseCount(const std::string& text)
{
    std::uint64_t count = 0;
    if (!isWhole(text, count) || count == 0) {
        throw UsageError("--count " + text + ": not a number from 1 on", "--count 10");
    }
    return count;
}

double parseSeconds(const std::string& option, const std::string& text)
{
    double seconds = 0;
    // Texts are parsed here and not by the option, so that messages have one form with an example that works.
    if (!isWhole(text, seconds) || !std::isfinite(seconds) || seconds <= 0) {
        throw UsageError(option + " " + text + ": not a number of seconds above 0", option + " 10");
    }
    // Some thirty years; a time that a clock can hold in nanoseconds.
    constexpr double kLongest = 1e9;
    return std::min(seconds, kLongest);
}

unsigned int parseWhole(std::string_view option, const std::string& text, unsigned int limit)
{
    unsigned int number = 0;
    if (!isWhole(text, number) || number > limit) {
        throw UsageError(std::string(option) + " " + text + ": not a number from 0 to " + std::to_string(limit),
                         std::string(option) + " 0");
    }
    return number;
}

int parseInterface(const std::string& text)
{
    return static_cast<int>(parseWhole("--interface", text, UINT8_MAX));
}

} // namespace qrxhid
