/// What the doctor finds out about the kernel's devices, and that its advice helps.

#include "AccessFixture.h"
#include "Seat.h"

#include "devices/UhidDevice.h"
#include "support/Udevd.h"

#include <list>

#include <fcntl.h>
#include <linux/usbdevice_fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

using namespace qrx::guest;

namespace {

constexpr const char* kNoUdevd =
    "note: udevd does not run here: devices belong to root, and arrivals are noticed by other means\n";
constexpr const char* kRootOnly = "mode 0600, owner root (0), group root (0); you are user (1000)\n";

class Doctor : public Library {
protected:
    Doctor() : plug(identityOf("Plain", 0x00A2), {hidInterface(plainDescriptor(8))})
    {
        plugWhole(plug);
        node = plug.waitForNodes().at(0);
        place = placeOf(plug);
    }

    /// The doctor's whole text on this device, with `rest` below the line of its only interface.
    std::string text(const std::string& verdict, const std::string& state, const std::string& rest) const
    {
        return "1234:00a2  Plain  at " + place + ": " + verdict + "\n  interface 0: " + state + "\n" + rest;
    }
    ToolRun usable() const { return {0, kNoUdevd + text("usable", "usable, " + node, "")}; }
    /// What the doctor's advice makes of an interface that had no node, or another one.
    ToolRun helped(const ToolRun& before)
    {
        EXPECT_GT(followAdvice(before), 0U);
        const std::vector<std::string> nodes = plug.waitForNodes();
        node = nodes.empty() ? "no node" : nodes.at(0);
        return askDoctor({}, 0);
    }
    std::string hidDevice() const
    {
        const std::string interface = plug.sysfsPath() + "/" + place + ":1.0";
        for (const std::string& name : listFolder(interface)) {
            if (name.starts_with("0003:")) {
                return name;
            }
        }
        return "none";
    }

    VhciDevice plug;
    std::string node;
    std::string place;
};

/// A program that has an interface by usbfs while the object lives.
class Claim {
public:
    explicit Claim(const std::string& deviceFile) : _fd(::open(deviceFile.c_str(), O_RDWR | O_CLOEXEC))
    {
        usbdevfs_disconnect_claim claim{};
        EXPECT_EQ(::ioctl(_fd, USBDEVFS_DISCONNECT_CLAIM, &claim), 0) << deviceFile;
    }
    ~Claim() { ::close(_fd); }
    Claim(const Claim&) = delete;
    Claim& operator=(const Claim&) = delete;

private:
    int _fd;
};

/// "/dev/bus/usb/003/007", as the kernel makes it.
std::string deviceFileOf(const std::string& sysfs)
{
    const std::string uevent = readFile(sysfs + "/uevent").value_or("");
    const std::size_t start = uevent.find("DEVNAME=") + 8;
    return "/dev/" + uevent.substr(start, uevent.find('\n', start) - start);
}

} // namespace

TEST_F(Doctor, RootMayUseADeviceAndAnOrdinaryUserMayNotWithoutUdevd)
{
    EXPECT_EQ(askDoctor({}, 0), usable());
    const ToolRun denied = askDoctor();
    EXPECT_EQ(denied, (ToolRun{4, kNoUdevd + text("not usable", "denied, " + node,
                                                  std::string("    the node may not be opened: ") + kRootOnly +
                                                      "    udevd does not run here (there is no /run/udev/control): no "
                                                      "rule is applied\n"
                                                      "    next: sudo chown 1000 " +
                                                      node + "\n")}));
    EXPECT_EQ(runTool({"record", "--device", "1234:00a2"}, kOrdinaryUser),
              (ToolRun{4, "qrxhid: you may not open 1234:00a2\nTry: qrxhid doctor 1234:00a2\n"}));
    EXPECT_EQ(followAdvice(denied), 1U);
    EXPECT_EQ(askDoctor(), usable());
    EXPECT_TRUE(mayOpen(node));
}

TEST_F(Doctor, ANodeThatMayOnlyBeReadIsAMatterOfPermission)
{
    ASSERT_EQ(::chmod(node.c_str(), 0444), 0);
    const ToolRun run = askDoctor({"1234:00a2"});
    EXPECT_EQ(run.status, 4);
    EXPECT_NE(run.text.find("  interface 0: read-only, " + node +
                            "\n    input can be read and nothing can be sent: "
                            "mode 0444, owner root (0)"),
              std::string::npos)
        << run.text;
}

TEST_F(Doctor, ADeviceThatIsNotThereIsToldApart)
{
    EXPECT_EQ(askDoctor({"1234:00ff"}, 0),
              (ToolRun{3, "qrxhid: no USB HID device is 1234:00ff\n" + std::string(kNoUdevd)}));
}

TEST_F(Doctor, AnInterfaceThatWasTakenFromTheDriverIsGivenBackByItsAdvice)
{
    ASSERT_EQ(runShell("echo " + place + ":1.0 > /sys/bus/usb/drivers/usbhid/unbind").status, 0);
    const ToolRun run = askDoctor({}, 0);
    EXPECT_EQ(run, (ToolRun{1, kNoUdevd + text("not usable", "no-driver",
                                               "    no driver has the interface: it was taken from the kernel's HID "
                                               "driver, or the device did not answer that one's questions\n"
                                               "    next: sudo dmesg | grep " +
                                                   place + "\n    next: echo " + place +
                                                   ":1.0 | sudo tee /sys/bus/usb/drivers/usbhid/bind\n")}));
    EXPECT_EQ(helped(run), usable());
}

TEST_F(Doctor, ADeviceThatIsKeptOutIsLetInByItsAdvice)
{
    ASSERT_EQ(runShell("echo 0 > " + plug.sysfsPath() + "/authorized").status, 0);
    const ToolRun run = askDoctor({}, 0);
    EXPECT_EQ(run, (ToolRun{1, std::string(kNoUdevd) + "1234:00a2  Plain  at " + place +
                                   ": not usable\n"
                                   "  the kernel keeps the device out (its attribute authorized is 0): the "
                                   "administrator wants it so, or a guard such as USBGuard\n"
                                   "  next: echo 1 | sudo tee /sys/bus/usb/devices/" +
                                   place + "/authorized\n"}));
    EXPECT_EQ(helped(run), usable());
}

TEST_F(Doctor, AnInterfaceThatIsKeptOutIsLetInByItsAdvice)
{
    const std::string interface = place + ":1.0";
    ASSERT_EQ(runShell("echo 0 > " + plug.sysfsPath() + "/" + interface + "/authorized").status, 0);
    const ToolRun run = askDoctor({}, 0);
    EXPECT_EQ(run, (ToolRun{1, kNoUdevd + text("not usable", "no-driver",
                                               "    the kernel keeps the interface out (its attribute authorized is "
                                               "0): the administrator wants it so, or a guard such as USBGuard\n"
                                               "    next: echo 1 | sudo tee /sys/bus/usb/devices/" +
                                                   interface + "/authorized\n    next: echo " + interface +
                                                   " | sudo tee /sys/bus/usb/drivers_probe\n")}));
    EXPECT_EQ(helped(run), usable());
}

TEST_F(Doctor, AHidDeviceThatWasTakenFromItsDriverIsGivenBackByItsAdvice)
{
    const std::string name = hidDevice();
    ASSERT_EQ(runShell("echo " + name + " > /sys/bus/hid/drivers/hid-generic/unbind").status, 0);
    const ToolRun run = askDoctor({}, 0);
    EXPECT_EQ(run, (ToolRun{1, kNoUdevd + text("not usable", "no-node",
                                               "    no driver has the HID device " + name +
                                                   ": the kernel refuses its report descriptor (its log says \"parsing "
                                                   "failed\" then), or the driver for it is not loaded or was taken "
                                                   "from it\n"
                                                   "    next: sudo dmesg | grep " +
                                                   name + "\n    next: sudo modprobe $(cat /sys/bus/hid/devices/" +
                                                   name + "/modalias)\n    next: echo " + name +
                                                   " | sudo tee /sys/bus/hid/drivers/hid-generic/bind\n")}));
    EXPECT_EQ(helped(run), usable());
}

TEST_F(Doctor, ADescriptorThatTheKernelRefusesShowsInTheLogThatIsNamed)
{
    VhciDevice bad(identityOf("Bad", 0x00A4), {hidInterface({0x05, 0x01, 0x09, 0x02, 0xA1, 0x01, 0xC0, 0xC0})});
    bad.plug();
    ToolRun run;
    ASSERT_TRUE(waitUntil([&] {
        run = askDoctor({"1234:00a4"}, 0);
        return run.text.find(": no-node\n") != std::string::npos;
    })) << run.text;
    EXPECT_EQ(run.status, 1);
    const std::string mark = "    next: sudo dmesg | grep ";
    const std::size_t at = run.text.find(mark) + mark.size();
    EXPECT_TRUE(waitUntil([&] {
        return runShell("dmesg | grep " + run.text.substr(at, run.text.find('\n', at) - at))
                   .text.find("parsing failed") != std::string::npos;
    }));
}

TEST_F(Doctor, AnInterfaceThatAProgramHasTakenIsToldByTheProgramsFile)
{
    const std::string file = deviceFileOf(plug.sysfsPath());
    ToolRun run;
    {
        const Claim claim(file);
        run = askDoctor({}, 0);
        EXPECT_EQ(run, (ToolRun{1, kNoUdevd + text("not usable", "other-driver",
                                                   "    a program has taken the interface from the kernel (usbfs), as "
                                                   "those that use libusb do\n"
                                                   "    next: end that program; this names it: sudo fuser -v " +
                                                       file + "\n    next: echo " + place +
                                                       ":1.0 | sudo tee /sys/bus/usb/drivers/usbhid/bind\n")}));
    }
    EXPECT_EQ(runShell(run.text.substr(run.text.find("echo "))).status, 0);
    node = plug.waitForNodes().at(0);
    EXPECT_EQ(askDoctor({}, 0), usable());
}

TEST_F(Doctor, ANodeThatIsMissingComesBackByPluggingAgain)
{
    struct stat facts {};
    ASSERT_EQ(::stat(node.c_str(), &facts), 0);
    const std::string numbers = std::to_string(major(facts.st_rdev)) + " " + std::to_string(minor(facts.st_rdev));
    ASSERT_EQ(::unlink(node.c_str()), 0);
    EXPECT_EQ(askDoctor({}, 0),
              (ToolRun{1, kNoUdevd + text("not usable", "node-missing, " + node,
                                          "    the kernel has this report node, and it is not in /dev\n"
                                          "    next: unplug the device and plug it in again: the kernel makes the node "
                                          "anew\n"
                                          "    next: or where /dev is not the kernel's own: sudo mknod -m 600 " +
                                              node + " c " + numbers + "\n")}));
    pullWhole(plug);
    plugWhole(plug);
    place = placeOf(plug);
    node = plug.waitForNodes().at(0);
    EXPECT_EQ(askDoctor({}, 0), usable());
}

TEST_F(Doctor, WhenTheKernelHasNoReportNodeLeftThatIsTheReason)
{
    pullWhole(plug);
    std::list<UhidDevice> others;
    for (int number = 0; number < 64; ++number) {
        UhidIdentity identity;
        identity.phys = "doctor/" + std::to_string(number);
        others.emplace_back(identity, plainDescriptor(4));
    }
    ASSERT_TRUE(waitUntil([] { return listFolder("/sys/class/hidraw").size() == 64; }));
    plug.plug();
    ToolRun run;
    EXPECT_TRUE(waitUntil([&] {
        run = askDoctor({}, 0);
        return run.text.find("all 64 report nodes that the kernel has are taken\n") != std::string::npos;
    })) << run.text;
    EXPECT_EQ(run.status, 1);
}

TEST_F(Doctor, InAContainerWithoutNodesTheWayIsFromOutside)
{
    const std::string inside =
        "exec unshare -m /bin/sh -c 'mount -t tmpfs none /dev && exec " QRXHID_PROGRAM " doctor'";
    const ToolRun plain = runShell(inside);
    EXPECT_EQ(plain.status, 1);
    EXPECT_NE(plain.text.find("  interface 0: node-missing, " + node + "\n"), std::string::npos) << plain.text;
    EXPECT_EQ(
        runShell("export container=podman; " + inside),
        (ToolRun{1, "note: this is a container (podman): it may hide devices, and refuse to open nodes whose mode "
                    "allows it\n" +
                        (kNoUdevd + text("not usable", "node-missing, " + node,
                                         "    the kernel has this report node, and it is not in /dev of a "
                                         "container (podman)\n"
                                         "    next: give the node to it from outside: " +
                                             node + "\n"))}));
}

TEST_F(Doctor, WhereUsbIsHiddenThatIsTold)
{
    EXPECT_EQ(runShell("exec unshare -m /bin/sh -c 'mount -t tmpfs none /sys && exec " QRXHID_PROGRAM " doctor'"),
              (ToolRun{3, "qrxhid: there is no USB HID device\n"
                          "note: the kernel's list of USB devices (/sys/bus/usb) is not to be seen here\n" +
                              std::string(kNoUdevd)}));
}

TEST_F(Doctor, UnderUdevdARuleIsMissingThenTheSeatIsEmptyThenTheRuleIsTooLate)
{
    const Udevd udevd;
    const std::string denied = std::string("    the node may not be opened: ") + kRootOnly;
    const std::string rule = "/etc/udev/rules.d/70-qrxhid-1234-00a2.rules";
    const std::string late = "/etc/udev/rules.d/99-late.rules";
    const std::string advice = "    next: qrxhid rule 1234:00a2 | sudo tee " + rule +
                               "\n"
                               "    next: sudo udevadm control --reload\n"
                               "    next: sudo udevadm trigger --subsystem-match=hidraw\n";
    const ToolRun missing = askDoctor();
    EXPECT_EQ(missing, (ToolRun{4, text("not usable", "denied, " + node,
                                        denied + "    no udev rule names 1234:00a2\n" + advice)}));
    EXPECT_EQ(followAdvice(missing), 3U);
    EXPECT_TRUE(waitUntil([&] { return isTagged(node); }));
    applyAllRules();
    const ToolRun elsewhere = askDoctor();
    EXPECT_EQ(elsewhere.status, 4);
    EXPECT_NE(elsewhere.text.find(" is right, and udevd has tagged the node: it is for who sits at the machine"),
              std::string::npos)
        << elsewhere.text;

    const Seat seat;
    ASSERT_EQ(runShell("mv " + rule + " " + late + " && sed -i /^#/d " + late + " && udevadm control --reload").status,
              0);
    pullWhole(plug);
    plugWhole(plug);
    place = placeOf(plug);
    node = plug.waitForNodes().at(0);
    EXPECT_TRUE(waitUntil([&] { return isTagged(node); })) << "the tag comes too late, but it comes";
    applyAllRules();
    const ToolRun tooLate = askDoctor();
    EXPECT_EQ(tooLate, (ToolRun{4, text("not usable", "denied, " + node,
                                        denied + "    the rule " + late +
                                            ":1 comes too late: udev acts on the tag at 73, so the file's name must "
                                            "sort before\n" +
                                            advice)}));
    EXPECT_EQ(followAdvice(tooLate), 3U);
    EXPECT_TRUE(waitUntil([&] { return mayOpen(node); }));
    EXPECT_EQ(askDoctor(), (ToolRun{0, text("usable", "usable, " + node, "")}));
    ::unlink(late.c_str());
    ::unlink(rule.c_str());
}
