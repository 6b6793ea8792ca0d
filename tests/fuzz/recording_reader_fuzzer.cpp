// Any text as a recording: it is refused with its place, or it can be written and read again.

#include "Failure.h"
#include "RecordingRoundTrip.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::istringstream text(std::string(reinterpret_cast<const char*>(data), size));
    try {
        requireRoundTrip(QrxRecording::read(text, "input"));
    } catch (const QrxRecordingError& error) {
        require(std::string(error.what()).starts_with("input"), "the place of a fault");
    }
    return 0;
}
