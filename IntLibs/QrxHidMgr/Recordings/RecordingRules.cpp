// What a recording must keep to, whoever made it. The reader accepts nothing else, and the writer refuses to begin: a
// program that records for hours should learn of a fault at the event, not when the file is read.

#include "RecordingRules.h"

#include <set>
#include <stdexcept>
#include <string>

namespace qrx {

using namespace recording;

namespace {

constexpr std::uint64_t kMaximumTimeUs = kMaximumSeconds * 1'000'000 + 999'999;

[[noreturn]] void refuse(const std::string& reason)
{
    // Not QrxRecordingError, which names a line of a file: here a program has made the recording.
    throw std::invalid_argument("a recording: " + reason);
}

void checkLength(const char* what, std::size_t length, std::size_t maximum)
{
    if (length > maximum) {
        refuse(std::string(what) + " of " + std::to_string(length) + " bytes, and " + std::to_string(maximum) +
               " are the most");
    }
}

void checkInterfaces(const std::vector<QrxRecordedInterface>& interfaces)
{
    if (interfaces.empty()) {
        refuse("no interface");
    }
    std::set<int> numbers;
    for (const QrxRecordedInterface& interface : interfaces) {
        const std::string number = std::to_string(interface.getNumber());
        if (interface.getNumber() < 0 || interface.getNumber() > kMaximumInterfaceNumber) {
            refuse("the interface number " + number + " is not in 0..255");
        }
        // Interfaces are named by their USB number from here on, so two with the same one could not be told apart.
        if (!numbers.insert(interface.getNumber()).second) {
            refuse("two interfaces have the number " + number);
        }
        checkLength("a report descriptor", interface.getReportDescriptor().size(), kMaximumBytes);
        checkLength("an interface's name", interface.getName().size(), kMaximumTextBytes);
        checkLength("a physical path", interface.getPhysicalPath().size(), kMaximumTextBytes);
    }
}

} // namespace

void checkEvent(const QrxRecording& recording, const QrxRecordedEvent& event)
{
    if (event.getInterfaceIndex() >= recording.getInterfaces().size()) {
        refuse("an event of interface index " + std::to_string(event.getInterfaceIndex()) + ", and there are " +
               std::to_string(recording.getInterfaces().size()) + " interfaces");
    }
    // The longest time that the reader takes.
    if (event.getTimeUs() > kMaximumTimeUs) {
        refuse("an event after more than " + std::to_string(kMaximumSeconds) + " seconds");
    }
    checkLength("an event", event.getBytes().size(), kMaximumBytes);
}

void checkEvents(const QrxRecording& recording)
{
    std::uint64_t lastUs = 0;
    for (const QrxRecordedEvent& event : recording.getEvents()) {
        checkEvent(recording, event);
        // Equal times are fine: several reports of one transfer carry the same one.
        if (event.getTimeUs() < lastUs) {
            refuse("time runs backwards, from " + std::to_string(lastUs) + " to " + std::to_string(event.getTimeUs()) +
                   " microseconds");
        }
        lastUs = event.getTimeUs();
    }
}

void checkRecording(const QrxRecording& recording)
{
    checkInterfaces(recording.getInterfaces());
    for (const std::string* name :
         {&recording.getVendorName(), &recording.getProductName(), &recording.getSerialNumber()}) {
        checkLength("a name", name->size(), kMaximumTextBytes);
    }
    for (const std::string& comment : recording.getComments()) {
        checkLength("a comment", comment.size(), kMaximumTextBytes);
    }
    checkEvents(recording);
}

} // namespace qrx
