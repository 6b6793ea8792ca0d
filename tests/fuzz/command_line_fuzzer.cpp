// Any words as a command line: they are understood, or refused with a reason and a hint.

#include "CommandLine.h"
#include "Failure.h"
#include "OptionValues.h"
#include "UsageError.h"

#include <cmath>

namespace {

void check(const qrxhid::CommandLine& line)
{
    require((line.command != nullptr) != !line.text.empty(), "there is a command, or help says something");
}

/// The values of options: understood within their bounds, or refused.
template <class Parse, class Holds>
void checkValue(Parse parse, Holds holds)
{
    try {
        require(holds(parse()), "a value is within its bounds");
    } catch (const qrxhid::UsageError& error) {
        require(*error.what() != '\0' && !error.hint().empty(), "a refusal has a reason and a hint");
    }
}

void checkValues(const std::string& word)
{
    checkValue([&word] { return qrxhid::parseSpeed(word); },
               [](double speed) { return std::isfinite(speed) && speed >= 0; });
    checkValue([&word] { return qrxhid::parseCount(word); }, [](std::uint64_t count) { return count > 0; });
    checkValue([&word] { return qrxhid::parseSeconds("--time", word); },
               [](double seconds) { return seconds > 0 && seconds <= 1e9; });
    checkValue([&word] { return qrxhid::parseInterface(word); },
               [](int number) { return number >= 0 && number <= 255; });
}

} // namespace

// A line end ends a word.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::vector<std::string> words = {"qrxhid", ""};
    for (std::size_t at = 0; at < size; ++at) {
        if (data[at] == '\n') {
            words.emplace_back();
        } else if (data[at] != 0) {
            words.back() += static_cast<char>(data[at]);
        }
    }
    std::vector<const char*> pointers;
    for (const std::string& word : words) {
        pointers.push_back(word.c_str());
        checkValues(word);
    }
    try {
        check(qrxhid::CommandLine::parse(static_cast<int>(pointers.size()), pointers.data()));
    } catch (const qrxhid::UsageError& error) {
        require(*error.what() != '\0' && !error.hint().empty(), "a refusal has a reason and a hint");
    }
    return 0;
}
