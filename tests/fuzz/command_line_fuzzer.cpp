// Any words as a command line: they are understood, or refused with a reason and a hint.

#include "CommandLine.h"
#include "Failure.h"
#include "UsageError.h"

#include <cmath>

namespace {

void check(const qrxhid::CommandLine& line)
{
    using qrxhid::Command;
    if (line.text) {
        require(!line.text->empty(), "help says something");
        return;
    }
    const qrxhid::Options& options = line.options;
    require(std::isfinite(options.speed) && options.speed >= 0, "a speed is a number from 0 on");
    require(!options.count || *options.count > 0, "a count is from 1 on");
    require(!options.seconds || (*options.seconds > 0 && *options.seconds <= 1e9), "a time is above 0, and some years");
    require(!options.interfaceNumber || (*options.interfaceNumber >= 0 && *options.interfaceNumber <= 255),
            "an interface's number is a byte");
    require(options.command != Command::rule || options.devices.empty(), "a rule is for a device, not for a pattern");
    require(options.command != Command::record || !options.devices.empty() || options.recordings.size() == 1,
            "what is recorded is named");
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
    }
    try {
        check(qrxhid::CommandLine::parse(static_cast<int>(pointers.size()), pointers.data()));
    } catch (const qrxhid::UsageError& error) {
        require(*error.what() != '\0' && !error.hint().empty(), "a refusal has a reason and a hint");
    }
    return 0;
}
