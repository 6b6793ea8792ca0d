// Any recording that a program could make: it is refused and nothing is written, or what is written is that recording.

#include "Failure.h"
#include "RecordingRoundTrip.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <sstream>
#include <stdexcept>

namespace {

constexpr std::size_t kLongText = 40;

std::vector<std::uint8_t> bytesOf(FuzzedDataProvider& input)
{
    // Some are longer than a line may have.
    if (input.ConsumeIntegralInRange(0, 99) == 0) {
        return std::vector<std::uint8_t>(input.ConsumeIntegralInRange<std::size_t>(65530, 65540), 0xa5);
    }
    return input.ConsumeBytes<std::uint8_t>(input.ConsumeIntegralInRange<std::size_t>(0, 16));
}

QrxRecording recordingOf(FuzzedDataProvider& input)
{
    QrxRecording made;
    made.setBus(input.ConsumeIntegral<std::uint16_t>());
    made.setVendorID(input.ConsumeIntegral<std::uint16_t>());
    made.setProductID(input.ConsumeIntegral<std::uint16_t>());
    made.setReleaseNumber(input.ConsumeIntegral<std::uint16_t>());
    made.setDeviceClass(input.ConsumeIntegral<std::uint8_t>());
    made.setDeviceProtocol(input.ConsumeIntegral<std::uint8_t>());
    made.setVendorName(input.ConsumeRandomLengthString(kLongText));
    made.setProductName(input.ConsumeRandomLengthString(kLongText));
    made.setSerialNumber(input.ConsumeRandomLengthString(kLongText));
    for (auto left = input.ConsumeIntegralInRange(0, 3); left > 0; --left) {
        made.getComments().push_back(input.ConsumeRandomLengthString(kLongText));
    }
    for (auto left = input.ConsumeIntegralInRange(0, 3); left > 0; --left) {
        QrxRecordedInterface& one = made.getInterfaces().emplace_back();
        one.setNumber(input.ConsumeIntegralInRange(-1, 256));
        one.setReportDescriptor(bytesOf(input));
        one.setName(input.ConsumeRandomLengthString(kLongText));
        one.setPhysicalPath(input.ConsumeRandomLengthString(kLongText));
        one.setSubclass(input.ConsumeIntegral<std::uint8_t>());
    }
    for (std::uint64_t timeUs = 0; input.remaining_bytes() > 0;) {
        timeUs += input.ConsumeIntegralInRange<std::uint64_t>(0, 1) == 0 ? input.ConsumeIntegral<std::uint8_t>()
                                                                         : input.ConsumeIntegral<std::uint64_t>();
        const auto index = input.ConsumeIntegralInRange<std::size_t>(0, made.getInterfaces().size());
        made.getEvents().push_back({timeUs, index, bytesOf(input)});
    }
    return made;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    FuzzedDataProvider input(data, size);
    const QrxRecording made = recordingOf(input);
    std::ostringstream text;
    try {
        made.write(text);
    } catch (const std::invalid_argument&) {
        require(text.str().empty(), "nothing of a refused recording is written");
        return 0;
    }
    requireRoundTrip(made);
    return 0;
}
