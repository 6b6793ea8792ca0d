#include "QemuRecording.h"

#include "library/ChildProcess.h"
#include "support/GuestFiles.h"
#include "support/QemuDevices.h"
#include "support/Waiting.h"

#include <algorithm>
#include <functional>
#include <stdexcept>

#include <unistd.h>

namespace qrx::guest {

namespace {

/// All of QEMU's have the same.
constexpr const char* kIDs = "0627:0001";
constexpr const char* kFile = "/tmp/recording.hid";

/// Something that is done with a device, and how many reports come of it.
struct Deed {
    std::size_t reports;
    std::function<void(QemuDevices&)> act;
};

struct Subject {
    const char* name;
    const char* driver;
    const char* comment;
    std::vector<Deed> deeds;
};

Deed key(const char* name, bool down)
{
    return {1, [=](QemuDevices& qemu) { qemu.setKey(name, down); }};
}

Deed move(int x, int y, std::size_t reports = 1)
{
    return {reports, [=](QemuDevices& qemu) { qemu.moveMouse(x, y); }};
}

Deed touch(int x, int y)
{
    return {1, [=](QemuDevices& qemu) { qemu.moveTablet(x, y); }};
}

Deed button(const char* name, bool down)
{
    return {1, [=](QemuDevices& qemu) { qemu.setButton(name, down); }};
}

Deed wheel(bool up)
{
    return {1, [=](QemuDevices& qemu) { qemu.turnWheel(up); }};
}

const std::vector<Subject>& subjects()
{
    static const std::vector<Subject> all{
        {"qemu-keyboard",
         "usb-kbd",
         "QEMU's USB keyboard on a Debian kernel: types \"Hid\", the last two keys overlapping.",
         {key("shift", true), key("h", true), key("h", false), key("shift", false), key("i", true), key("d", true),
          key("i", false), key("d", false)}},
        {"qemu-mouse",
         "usb-mouse",
         "QEMU's USB mouse on a Debian kernel: draws a square with the left button down, clicks right, turns the "
         "wheel.",
         {button("left", true), move(40, 0), move(0, 40), move(-40, 0), move(0, -40), button("left", false),
          button("right", true), button("right", false), wheel(true), wheel(false), move(300, -10, 3)}},
        {"qemu-tablet",
         "usb-tablet",
         "QEMU's USB tablet on a Debian kernel: goes from the middle to the corners, clicks, turns the wheel.",
         {touch(16384, 16384), touch(0, 0), touch(32767, 0), touch(32767, 32767), touch(0, 32767), button("left", true),
          button("left", false), wheel(false)}},
    };
    return all;
}

const Subject& subjectNamed(const std::string& name)
{
    const auto found = std::find_if(subjects().begin(), subjects().end(),
                                    [&name](const Subject& subject) { return subject.name == name; });
    if (found == subjects().end()) {
        throw std::runtime_error("no recording is made of " + name);
    }
    return *found;
}

std::size_t writtenReports()
{
    const std::string text = readFile(kFile).value_or("");
    std::size_t count = 0;
    for (std::size_t at = text.find("\nE: "); at != std::string::npos; at = text.find("\nE: ", at + 1)) {
        ++count;
    }
    return count;
}

void require(bool holds, const std::string& complaint)
{
    if (!holds) {
        throw std::runtime_error(complaint);
    }
}

/// One deed after the other is seen in the file: what QEMU is told too fast it puts together into one report.
void use(QemuDevices& qemu, const Subject& subject)
{
    std::size_t expected = 0;
    for (const Deed& deed : subject.deeds) {
        deed.act(qemu);
        expected += deed.reports;
        require(waitUntil([=] { return writtenReports() >= expected; }),
                std::string(subject.name) + ": report " + std::to_string(expected) + " has not come");
    }
}

} // namespace

std::vector<std::string> qemuRecordingNames()
{
    std::vector<std::string> names;
    for (const Subject& subject : subjects()) {
        names.emplace_back(subject.name);
    }
    return names;
}

std::string recordQemuDevice(const std::string& name)
{
    const Subject& subject = subjectNamed(name);
    QemuDevices qemu;
    qemu.plug(subject.driver, "subject", "1");
    require(!waitForHidrawNodes(0x0627, 0x0001, 1).empty(), name + ": the device has not come");
    ::unlink(kFile);
    ChildProcess record({QRXHID_PROGRAM, "record", "--keep-serial", "--device", kIDs, "--output", kFile});
    require(waitUntil([&] { return record.openNodes() == 1; }), name + ": " + record.output());
    use(qemu, subject);
    qemu.pull("subject");
    record.readUntil([](const std::string&) { return false; });
    const int status = record.end();
    require(status == 0, name + ": status " + std::to_string(status) + ": " + record.output());
    require(waitUntilGone(0x0627, 0x0001), name + ": the device stays");
    return std::string("# ") + subject.comment + "\n#\n" + readFile(kFile).value_or("");
}

} // namespace qrx::guest
