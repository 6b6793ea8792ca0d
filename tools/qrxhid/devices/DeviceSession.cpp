#include "devices/DeviceSession.h"

#include "UsageError.h"
#include "text/DeviceText.h"
#include "text/Notice.h"
#include "text/TextFormat.h"

#include "QrxRunLoop.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <utility>

namespace qrxhid {

namespace {

using IDPair = std::pair<unsigned short, unsigned short>;

// All devices, whatever is chosen: `#n` counts them all, and of what the library can filter by there are the IDs alone.
const std::vector<IDPair> kAnyDevice = {{0, 0}};

QrxRecording readRecording(const std::string& fileName)
{
    return fileName == "-" ? QrxRecording::read(std::cin, "standard input") : QrxRecording::readFile(fileName);
}

} // namespace

std::string recordedPlace(const QrxRecording& recording)
{
    // "usb-0000:00:14.0-2.1" of "usb-0000:00:14.0-2.1/input0".
    const std::string path =
        recording.getInterfaces().empty() ? "" : recording.getInterfaces().front().getPhysicalPath();
    return path.substr(0, path.rfind("/input"));
}

// One file that cannot be read does not keep the others from being worked on; the status tells of it in the end.
std::vector<RecordedDevice> readRecordings(const std::vector<std::string>& fileNames, ExitStatus& status)
{
    std::vector<RecordedDevice> recorded;
    for (const std::string& fileName : fileNames) {
        try {
            recorded.push_back({fileName, readRecording(fileName), nullptr, {}});
        } catch (const QrxRecordingError& error) {
            // FILE:LINE: first, where editors look for it.
            std::cerr << shownText(error.what()) << "\n";
            status = kBadRecording;
        }
    }
    return recorded;
}

std::uint64_t eventCount(const std::vector<RecordedDevice>& recorded)
{
    std::uint64_t count = 0;
    for (const RecordedDevice& one : recorded) {
        count += one.handle ? one.recording.getEvents().size() : 0;
    }
    return count;
}

void throwIfAbsent(const DeviceFilter& filter, const std::vector<DeviceFacts>& present,
                   const std::vector<std::string>& lines)
{
    const std::string absent = filter.absentPart(present);
    if (!absent.empty()) {
        throw UnknownDevice("no device is " + absent + "; " + (lines.empty() ? "no HID device is there" : "there are:"),
                            lines);
    }
}

DeviceSession::DeviceSession(const DeviceChoice& choice) : _filter(choice.filter()), _isRecorded(choice.hasRecordings())
{
    if (_isRecorded) {
        _makeDevice = deviceMaker(choice.faults());
    }
    _recorded = readRecordings(choice.recordings(), _status);
    makeTree();
}

DeviceSession::DeviceSession(std::vector<RecordedDevice> recorded)
    : _isRecorded(true), _recorded(std::move(recorded)), _makeDevice(deviceMaker(""))
{
    makeTree();
}

void DeviceSession::makeTree()
{
    _tree = QrxDeviceTree::NewInstance();
    _tree->setDelegate(this);
}

// The tree does not own its delegate and may outlive this object in somebody's handle.
DeviceSession::~DeviceSession()
{
    _tree->setDelegate(nullptr);
}

void DeviceSession::begin()
{
    if (std::exchange(_hasBegun, true)) {
        return;
    }
    if (_isRecorded) {
        plugRecordings();
    } else {
        _tree->populate(kAnyDevice);
    }
    // Where no recording could be read, that was said, and there is nothing to choose from.
    const bool hasReadableInput = !_isRecorded || !_recorded.empty();
    if (!_mayBeAbsent && hasReadableInput) {
        checkChoice();
    }
}

// Observed before anything is plugged in, so that each arrival is heard at its moment.
void DeviceSession::plugRecordings()
{
    _tree->observe(kAnyDevice);
    for (RecordedDevice& recorded : _recorded) {
        plug(recorded);
    }
}

// One at a time: so it is known which recording a device comes from, however alike they are.
void DeviceSession::plug(RecordedDevice& recorded)
{
    if (recorded.device == nullptr) {
        // Kept when it is unplugged: it may be plugged again.
        recorded.device = _makeDevice(recorded.recording);
    }
    _recordedPlace = recordedPlace(recorded.recording);
    recorded.device->plug();
    // The arrival is told by the run loop, to deviceAdded.
    while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
    }
    const DeviceHandle added = std::exchange(_lastAdded, DeviceHandle());
    if (!added) {
        notice(recorded.fileName + ": no HID device: no input, output or feature field");
        _status = std::max(_status, kFailure);
    } else if (_filter.matches(_known.back().facts)) {
        // A device that is not chosen stays plugged: its number counts.
        recorded.handle = added;
    }
}

// Facts are read once, at the arrival: a device that has left cannot be asked any more, and is still spoken of.
void DeviceSession::note(const DeviceHandle& device)
{
    PresentDevice present{device, DeviceFacts::read(*device)};
    present.facts.number = ++_lastNumber;
    if (_isRecorded) {
        present.facts.place = _recordedPlace;
    }
    _known.push_back(std::move(present));
}

void DeviceSession::checkChoice() const
{
    std::vector<DeviceFacts> present;
    std::vector<std::string> lines;
    for (const PresentDevice& device : _known) {
        present.push_back(device.facts);
        lines.push_back(numberedTitle(device.facts.number, *device.handle));
    }
    throwIfAbsent(_filter, present, lines);
}

std::vector<PresentDevice> DeviceSession::devices() const
{
    std::vector<DeviceHandle> listed;
    for (unsigned int i = 0; i < _tree->getHIDDeviceCount(); ++i) {
        listed.push_back(_tree->getDeviceAtIndex(i));
    }
    // The library's list is what is true; what is not in it any more has left.
    std::erase_if(_known, [&listed](const PresentDevice& device) {
        return std::ranges::none_of(listed, [&device](const DeviceHandle& one) { return one == device.handle; });
    });
    std::vector<PresentDevice> chosen;
    std::ranges::copy_if(_known, std::back_inserter(chosen),
                         [this](const PresentDevice& device) { return _filter.matches(device.facts); });
    return chosen;
}

// Taking the first of several would act on a device that nobody has named.
PresentDevice DeviceSession::onlyDevice(const std::string& command, const std::string& reason) const
{
    const std::vector<PresentDevice> found = devices();
    if (found.empty() && !_isRecorded) {
        notice(kNoDeviceText);
    }
    // Where nothing is found, the caller ends with a status; what is wrong with a recording has been said.
    if (found.size() < 2) {
        return found.empty() ? PresentDevice{} : found.front();
    }
    std::vector<DeviceFacts> facts;
    std::ranges::transform(found, std::back_inserter(facts), &PresentDevice::facts);
    const std::vector<std::string> options = optionsThatTellApart(facts);
    // Options of different lengths, and titles below each other.
    std::size_t width = 0;
    for (const std::string& option : options) {
        width = std::max(width, option.size());
    }
    std::vector<std::string> lines;
    for (std::size_t i = 0; i < found.size(); ++i) {
        lines.push_back(padded(options[i], width) + "  " + deviceTitle(*found[i].handle));
    }
    throw UsageError(std::to_string(found.size()) + " devices match, and " + reason + ":",
                     "qrxhid " + command + " " + options.front(), lines);
}

std::size_t DeviceSession::deviceCount() const
{
    return _tree->getHIDDeviceCount();
}

bool DeviceSession::hasDepartures() const
{
    return deviceCount() != _known.size();
}

void DeviceSession::observe(std::function<void(const PresentDevice&)> handler)
{
    _arrivalHandler = std::move(handler);
    if (!_isRecorded) {
        _tree->observe(kAnyDevice);
    }
}

// Every device is numbered, chosen or not: numbers of watch are those of list.
void DeviceSession::deviceAdded(DeviceHandle device)
{
    note(device);
    _lastAdded = device;
    if (_arrivalHandler && _filter.matches(_known.back().facts)) {
        // A copy: the handler may make the list grow.
        const PresentDevice arrived = _known.back();
        _arrivalHandler(arrived);
    }
}

} // namespace qrxhid
