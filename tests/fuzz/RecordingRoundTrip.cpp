#include "RecordingRoundTrip.h"

#include "Failure.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <tuple>

namespace {

auto factsOf(const QrxRecordedInterface& one)
{
    return std::tuple(one.getNumber(), one.getReportDescriptor(), one.getName(), one.getPhysicalPath(),
                      one.getSubclass(), one.getProtocol());
}

auto factsOf(const QrxRecordedEvent& one)
{
    return std::tuple(one.getTimeUs(), one.getInterfaceIndex(), one.getBytes());
}

auto factsOf(const QrxRecording& one)
{
    return std::tuple(one.getBus(), one.getVendorID(), one.getProductID(), one.getReleaseNumber(), one.getDeviceClass(),
                      one.getDeviceSubclass(), one.getDeviceProtocol(), one.getVendorName(), one.getProductName(),
                      one.getSerialNumber(), one.getComments());
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
        require(areEqual(found.getInterfaces(), expected.getInterfaces()), "an interface");
        require(areEqual(found.getEvents(), expected.getEvents()), "an event");
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
    head.getEvents().clear();
    std::ostringstream parts;
    parts << std::hex << std::showbase << std::setw(9);
    head.write(parts);
    std::size_t after = recording.getInterfaces().size() - 1;
    for (const QrxRecordedEvent& event : recording.getEvents()) {
        head.writeEvent(parts, event, after);
    }
    require(parts.str() == whole.str(), "written event by event it is another text");
}
