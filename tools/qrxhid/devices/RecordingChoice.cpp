#include "devices/RecordingChoice.h"

#include "devices/DeviceSession.h"
#include "text/Notice.h"

#include <utility>

namespace qrxhid {

namespace {

DeviceFacts factsOf(const QrxRecording& recording, unsigned int number)
{
    DeviceFacts facts;
    facts.number = number;
    facts.ids = {recording.getVendorID(), recording.getProductID()};
    facts.serialNumber = recording.getSerialNumber();
    facts.place = recordedPlace(recording);
    for (const QrxRecordedInterface& interface : recording.getInterfaces()) {
        facts.nodes[interface.getNumber()];
    }
    return facts;
}

std::string titleOf(const QrxRecording& recording)
{
    const std::string separator = recording.getVendorName().empty() ? "" : " ";
    const std::string name = recording.getProductName().empty() && !recording.getInterfaces().empty()
                                 ? recording.getInterfaces().front().getName()
                                 : recording.getVendorName() + separator + recording.getProductName();
    return DeviceIdentity{recording.getVendorID(), recording.getProductID()}.text() + "  " + shownText(name);
}

} // namespace

std::vector<ChosenRecording> chooseRecordings(const DeviceChoice& choice, ExitStatus& status)
{
    std::vector<ChosenRecording> chosen;
    std::vector<DeviceFacts> present;
    std::vector<std::string> lines;
    for (RecordedDevice& recorded : readRecordings(choice.recordings(), status)) {
        const auto number = static_cast<unsigned int>(present.size()) + 1;
        const std::string title = titleOf(recorded.recording);
        present.push_back(factsOf(recorded.recording, number));
        lines.push_back("#" + std::to_string(number) + "  " + title);
        if (choice.filter().matches(present.back())) {
            chosen.push_back({recorded.fileName, std::move(recorded.recording), title});
        }
    }
    // Nothing is missing where no recording could be read; that has been said.
    if (!present.empty()) {
        throwIfAbsent(choice.filter(), present, lines);
    }
    return chosen;
}

} // namespace qrxhid
