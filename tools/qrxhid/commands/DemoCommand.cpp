#include "commands/DemoCommand.h"

#include "commands/BuiltInRecordings.h"
#include "devices/ChangeFilter.h"
#include "devices/DeviceSession.h"
#include "devices/InputListener.h"
#include "text/DeviceText.h"
#include "text/ReportText.h"
#include "text/TextFormat.h"
#include "text/TreeText.h"

#include "QrxReportDecoder.h"
#include "QrxRunLoop.h"
#include "QrxVirtualDevice.h"

#include <algorithm>
#include <sstream>
#include <string_view>

namespace qrxhid {

namespace {

constexpr unsigned int kInput = 0;
constexpr unsigned int kOutput = 1;
constexpr unsigned int kFeature = 2;
constexpr const char* kValueIndent = "      ";

using Bytes = std::vector<std::uint8_t>;

/// A value that an event of a recording must decode to.
struct ExpectedValue {
    std::string_view recording;
    std::size_t event;
    std::uint32_t usagePage;
    std::uint32_t usage;
    std::int64_t value;
};

// What a person reads off the recordings by the descriptors' own words. Nothing here comes from the decoder.
constexpr ExpectedValue kExpectedValues[] = {
    {"boot-keyboard", 1, 0x07, 0x0B, 1},     // H, shown by the array of keys
    {"boot-keyboard", 1, 0x07, 0xE1, 1},     // with the left Shift
    {"wheel-mouse", 0, 0x01, 0x31, -5},      // Y
    {"wheel-mouse", 4, 0x01, 0x38, -1},      // wheel
    {"gamepad", 1, 0x01, 0x39, 2},           // hat, in four bits
    {"gamepad", 2, 0x09, 12, 1},             // the last button
    {"thermometer", 0, 0xFF00, 0x10, 29354}, // 293.54 K
    {"thermometer", 3, 0x01, 0x37, -3},      // dial of the other interface
    {"thermometer", 4, 0x0C, 0xB7, 1},       // lever: third usage of an array that counts from 1
    {"qemu-keyboard", 1, 0x07, 0x0B, 1},     // H
    {"qemu-keyboard", 5, 0x07, 0x07, 1},     // D, while I is still down
    {"qemu-mouse", 3, 0x01, 0x30, -40},      // X, the third side of a square
    {"qemu-mouse", 6, 0x09, 2, 1},           // right button
    {"qemu-tablet", 3, 0x01, 0x31, 32767},   // Y, the lower right corner
    {"qemu-tablet", 7, 0x01, 0x38, -1},      // wheel
};

std::vector<RecordedDevice> readBuiltIn()
{
    std::vector<RecordedDevice> devices;
    for (const BuiltInRecording& builtIn : builtInRecordings()) {
        // Part of the program, so that it runs where nothing but the program was installed.
        std::istringstream text(builtIn.text);
        devices.push_back({builtIn.name, QrxRecording::read(text, builtIn.name), nullptr, {}});
    }
    return devices;
}

class Demo {
public:
    explicit Demo(std::ostream& out) : _out(out), _session(readBuiltIn()) {}

    ExitStatus run();

private:
    struct Received {
        Bytes bytes;
        int interfaceNumber;
    };

    void heading(const char* text);
    void check(bool holds, const std::string& claim);
    RecordedDevice& device(std::string_view name);

    void showArrival();
    void showTrees();
    void showInput();
    void showSentReports();
    void showReplugging();
    void showLeaving();
    ExitStatus showResult();

    void open(const RecordedDevice& recorded);
    void deliver(const RecordedDevice& recorded, std::size_t event, ChangeFilter& filter);
    void checkValues(const RecordedDevice& recorded, std::size_t event, const std::vector<QrxDecodedValue>& values);
    void send(std::string_view name, unsigned int type, unsigned int reportID, const Bytes& bytes);
    void drain();

    std::ostream& _out;
    const Terminal _terminal = Terminal::ofStandardOutput();
    DeviceSession _session;
    std::vector<Received> _received;
    unsigned int _step = 0;
    unsigned int _checks = 0;
    unsigned int _failures = 0;
    std::size_t _arrivals = 0;
};

ExitStatus Demo::run()
{
    showArrival();
    // Without its devices nothing else could be shown.
    if (_failures == 0) {
        showTrees();
        showInput();
        showSentReports();
        showReplugging();
        showLeaving();
    }
    return showResult();
}

void Demo::heading(const char* text)
{
    ++_step;
    _out << (_step == 1 ? "" : "\n") << _step << ". " << text << "\n\n";
}

void Demo::check(bool holds, const std::string& claim)
{
    ++_checks;
    if (!holds) {
        ++_failures;
        _out << "FAILED: " << claim << "\n";
    }
}

RecordedDevice& Demo::device(std::string_view name)
{
    // The names are those of the built-in recordings, so there is one.
    return *std::ranges::find(_session.recordedDevices(), name, &RecordedDevice::fileName);
}

void Demo::drain()
{
    while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
    }
}

void Demo::showArrival()
{
    heading("Virtual devices are plugged in: four of our own, three recorded on a Debian kernel");
    // Before the devices are plugged in, which `begin` does: each arrival is told at its moment.
    _session.observe([this](const PresentDevice& device) {
        ++_arrivals;
        _out << "arrived  " << deviceTitle(*device.handle) << "\n";
    });
    _session.begin();
    const std::vector<RecordedDevice>& recorded = _session.recordedDevices();
    // A device that is announced twice would pass all later checks.
    check(_arrivals == recorded.size(), "one arrival for each device");
    for (const RecordedDevice& each : recorded) {
        check(bool(each.handle), each.fileName + " is in the tree");
        check(each.handle && each.handle->getProductName() == each.recording.getProductName(),
              each.fileName + " has its product's name");
    }
}

void Demo::showTrees()
{
    heading("What they say of themselves");
    const char* separator = "";
    for (const RecordedDevice& recorded : _session.recordedDevices()) {
        _out << separator;
        separator = "\n";
        writeTree(_out, *recorded.handle, interfaceNumbers(*recorded.handle), _terminal);
        // A composite device is one device with several interfaces, and not several devices.
        check(interfaceNumbers(*recorded.handle).size() == recorded.recording.getInterfaces().size(),
              recorded.fileName + " has all its interfaces");
    }
}

void Demo::open(const RecordedDevice& recorded)
{
    recorded.handle->setDelegate(new InputListener([this](QrxHIDDevice&, const Bytes& bytes, int interfaceNumber) {
        _received.push_back({bytes, interfaceNumber});
    }));
    // All interfaces: the demonstration looks at whatever comes.
    recorded.handle->open();
}

void Demo::showInput()
{
    heading("Input reports, with the values that changed");
    for (const RecordedDevice& recorded : _session.recordedDevices()) {
        _out << deviceTitle(*recorded.handle) << "\n";
        open(recorded);
        ChangeFilter filter;
        for (std::size_t i = 0; i < recorded.recording.getEvents().size(); ++i) {
            deliver(recorded, i, filter);
        }
    }
}

void Demo::deliver(const RecordedDevice& recorded, std::size_t event, ChangeFilter& filter)
{
    const QrxRecordedEvent& sent = recorded.recording.getEvents()[event];
    const int interfaceNumber = recorded.recording.getInterfaces()[sent.getInterfaceIndex()].getNumber();
    const std::string name = recorded.fileName + ", report " + std::to_string(event);
    // So that a report of an earlier event cannot stand in for this one.
    _received.clear();
    check(recorded.device->sendInputReport(interfaceNumber, sent.getBytes()), name + " is taken");
    drain();
    // Once: a report that came twice would be two key presses.
    check(_received.size() == 1 && _received[0].bytes == sent.getBytes() &&
              _received[0].interfaceNumber == interfaceNumber,
          name + " arrives once, whole, from its interface");
    for (const Received& received : _received) {
        // From what was received and not from what was sent: the whole way is under test.
        const auto values = QrxDecodeReport(*recorded.handle, kInput, received.bytes.data(), received.bytes.size(),
                                            received.interfaceNumber);
        checkValues(recorded, event, values);
        _out << "  interface " << received.interfaceNumber << ": " << bytesText(received.bytes) << "\n";
        // Only the composite one among the built-in recordings has numbered reports.
        const bool isNumbered = recorded.recording.getInterfaces().size() > 1;
        const std::uint32_t reportID = isNumbered ? received.bytes.front() : 0;
        writeValues(_out, filter.changes(received.interfaceNumber, reportID, values), kValueIndent);
    }
}

void Demo::checkValues(const RecordedDevice& recorded, std::size_t event, const std::vector<QrxDecodedValue>& values)
{
    for (const ExpectedValue& expected : kExpectedValues) {
        // Most reports have no value of the table; their arrival was checked.
        if (expected.recording != recorded.fileName || expected.event != event) {
            continue;
        }
        const bool isThere = std::ranges::any_of(values, [&expected](const QrxDecodedValue& value) {
            return value.getUsagePage() == expected.usagePage && value.getUsage() == expected.usage &&
                   value.getValue() == expected.value;
        });
        check(isThere, recorded.fileName + ", report " + std::to_string(event) + " decodes to " +
                           std::to_string(expected.value));
    }
}

void Demo::showSentReports()
{
    heading("Reports to the devices");
    // The lights of two keyboards, a report of text, and a setting: with a number and without.
    send("boot-keyboard", kOutput, 0, {0x02});
    send("qemu-keyboard", kOutput, 0, {0x01});
    send("thermometer", kOutput, 2, {0x02, 'R', 'E', 'S', 'E', 'T', 0x00, 0x00});
    send("thermometer", kFeature, 4, {0x04, 0xE8, 0x03});
}

void Demo::send(std::string_view name, unsigned int type, unsigned int reportID, const Bytes& bytes)
{
    constexpr int kInterface = 0;
    RecordedDevice& recorded = device(name);
    // What was sent before is none of this step's.
    recorded.device->takeSentReports();
    // It returns when the device has taken the report, so nothing is waited for.
    recorded.handle->setReport(type, reportID, std::valarray<std::uint8_t>(bytes.data(), bytes.size()), kInterface);
    const std::vector<QrxSentReport> taken = recorded.device->takeSentReports();
    check(taken.size() == 1 && taken[0].getReportType() == type && taken[0].getReportID() == reportID &&
              taken[0].getInterfaceNumber() == kInterface && taken[0].getBytes() == bytes,
          recorded.fileName + " takes the report as it was sent");
    for (const QrxSentReport& report : taken) {
        _out << deviceTitle(*recorded.handle) << "\n  took " << (type == kOutput ? "output" : "feature") << " report"
             << (report.getReportID() == 0 ? "" : " " + std::to_string(report.getReportID())) << ": "
             << bytesText(report.getBytes()) << "\n";
        const auto values =
            QrxDecodeReport(*recorded.handle, type, report.getBytes().data(), report.getBytes().size(), kInterface);
        check(!values.empty(), "the report has values");
        writeValues(_out, values, kValueIndent);
    }
}

void Demo::showReplugging()
{
    heading("One device leaves and comes back");
    RecordedDevice& mouse = device("wheel-mouse");
    const std::size_t before = _session.deviceCount();
    const DeviceHandle gone = mouse.handle;
    // The device leaves the registry now; the tree hears of it in the next turn of the loop.
    mouse.device->unplug();
    drain();
    check(_session.deviceCount() == before - 1, "the tree has one device less");
    _out << "left     " << deviceTitle(*gone) << "\n";
    // An application closes what it has opened, also when the device has left.
    gone->close();

    _session.plug(mouse);
    check(_session.deviceCount() == before && mouse.handle, "the tree has it again");
    // Never the same object: what it said before was about another arrival.
    check(mouse.handle != gone, "as a new device");
    if (mouse.handle) {
        open(mouse);
        ChangeFilter filter;
        deliver(mouse, 0, filter);
    }
}

void Demo::showLeaving()
{
    heading("All devices leave");
    // Counted down, since each one that leaves must be missing at once and no other with it.
    std::size_t left = _session.deviceCount();
    for (RecordedDevice& recorded : _session.recordedDevices()) {
        _received.clear();
        recorded.device->unplug();
        drain();
        --left;
        check(_session.deviceCount() == left, recorded.fileName + " is in the tree no more");
        // A device that was pulled has no queue to put a report into.
        check(!recorded.device->sendInputReport(0, recorded.recording.getEvents().front().getBytes()) &&
                  _received.empty(),
              recorded.fileName + " says nothing after it has left");
        _out << "left     " << deviceTitle(*recorded.handle) << "\n";
        recorded.handle->close();
    }
    check(_session.deviceCount() == 0, "the tree is empty");
}

ExitStatus Demo::showResult()
{
    _out << "\n";
    if (_failures > 0) {
        _out << _failures << " of " << _checks << " checks failed.\n";
        return kFailure;
    }
    _out << "All " << _checks << " checks hold.\n";
    return kSuccess;
}

} // namespace

void DemoCommand::declareOptions(OptionSet&) {}

ExitStatus DemoCommand::run(std::ostream& out)
{
    return Demo(out).run();
}

} // namespace qrxhid
