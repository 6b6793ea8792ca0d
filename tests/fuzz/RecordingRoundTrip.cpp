#include "RecordingRoundTrip.h"

#include "Failure.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <tuple>

namespace {

auto factsOf(const QrxRecordedInterface& one)
{
    return std::tie(one.number, one.reportDescriptor, one.name, one.physicalPath, one.interfaceSubclass,
                    one.interfaceProtocol);
}

auto factsOf(const QrxRecordedEvent& one)
{
    return std::tie(one.timeUs, one.interfaceIndex, one.bytes);
}

auto factsOf(const QrxRecording& one)
{
    return std::tie(one.bus, one.vendorID, one.productID, one.releaseNumber, one.deviceClass, one.deviceSubclass,
                    one.deviceProtocol, one.vendorName, one.productName, one.serialNumber, one.comments);
}

template <typename T>
bool areEqual(const std::vector<T>& left, const std::vector<T>& right)
{
    return std::ranges::equal(left, right, [](const T& one, const T& other) { return factsOf(one) == factsOf(other); });
}

void requireEqual(const QrxRecording& expected, const std::string& text)
{
    std::istringstream stream(text);
    try {
        const QrxRecording found = QrxRecording::read(stream, "written");
        require(factsOf(found) == factsOf(expected), "a fact of the device");
        require(areEqual(found.interfaces, expected.interfaces), "an interface");
        require(areEqual(found.events, expected.events), "an event");
    } catch (const QrxRecordingError& error) {
        fail(error.what() + ("\n" + text));
    }
}

} // namespace

void requireRoundTrip(const QrxRecording& recording)
{
    std::ostringstream whole;
    recording.write(whole);
    requireEqual(recording, whole.str());

    QrxRecording head = recording;
    head.events.clear();
    std::ostringstream parts;
    parts << std::hex << std::showbase << std::setw(9);
    head.write(parts);
    std::size_t after = recording.interfaces.size() - 1;
    for (const QrxRecordedEvent& event : recording.events) {
        head.writeEvent(parts, event, after);
    }
    require(parts.str() == whole.str(), "written event by event it is another text");
}
