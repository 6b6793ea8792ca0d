/// A device of another machine: the kernel exports QEMU's keyboard over a socket (USB/IP), and attaches what comes out
/// of it. Here both ends are one kernel; the library is told nothing of it.

#include "Library.h"

#include "support/GuestFiles.h"
#include "support/QemuDevices.h"
#include "support/Waiting.h"
#include "vhci/VhciPort.h"

#include <QrxDeviceIdentity.h>
#include <QrxRequests.h>

#include <unistd.h>

#include <filesystem>

using namespace qrx::guest;

namespace {

constexpr std::uint16_t kVendor = 0x0627;
constexpr std::uint16_t kProduct = 0x0001;

/// A USB device whose requests come from a socket, as `usbip bind` and `usbip attach` make it.
class ExportedDevice {
public:
    /// `folder` is the device's in sysfs.
    explicit ExportedDevice(std::string folder)
        : _name(std::filesystem::path(folder).filename()), _folder(std::move(folder))
    {
        loadModule("usbip-host");
        const std::string driver = "/sys/bus/usb/drivers/usbip-host/";
        write("/sys/bus/usb/drivers/usb/unbind", _name);
        write(driver + "match_busid", "add " + _name);
        write(driver + "bind", _name);
        const unsigned long id = number("busnum") << 16 | number("devnum");
        // Speeds of the kernel's list: low, full and high.
        const std::string speed = readAttribute(_folder + "/speed").value_or("");
        const int end = VhciPort::attach(speed == "1.5" ? 1 : speed == "12" ? 2 : 3, std::nullopt, _port, id);
        write(_folder + "/usbip_sockfd", std::to_string(end));
        ::close(end);
    }
    ExportedDevice(const ExportedDevice&) = delete;
    ExportedDevice& operator=(const ExportedDevice&) = delete;
    ~ExportedDevice()
    {
        if (isAttached())
            writeFile(_folder + "/usbip_sockfd", "-1");
        waitUntil([&] { return VhciPort::isFree(_port); });
        writeFile("/sys/bus/usb/drivers/usbip-host/match_busid", "del " + _name);
    }

    bool isAttached() const { return !VhciPort::deviceName(_port).empty(); }
    std::string attachedName() const { return VhciPort::deviceName(_port); }
    /// Whether the kernel has done all that it does at the arrival of what is attached, and its report node is there.
    bool isFinished() const
    {
        const std::string attached = "/sys/bus/usb/devices/" + attachedName();
        return isAttached() && std::filesystem::exists(attached + "/port") && hidrawNodesOf(attached).size() == 1;
    }
    /// The machine that has the device takes it back.
    void withdraw() { write(_folder + "/usbip_sockfd", "-1"); }

private:
    unsigned long number(const std::string& attribute) const
    {
        return std::stoul(readAttribute(_folder + "/" + attribute).value_or("0"));
    }
    static void write(const std::string& path, const std::string& text)
    {
        if (const int error = writeFile(path, text); error != 0)
            throw std::runtime_error(path + ": errno " + std::to_string(error));
    }

    std::string _name;
    std::string _folder;
    int _port = 0;
};

class UsbIp : public Library {
protected:
    QemuDevices qemu;
};

} // namespace

TEST_F(UsbIp, ADeviceOfAnotherMachineIsFoundReadWrittenAndLost)
{
    qemu.plug("usb-kbd", "keyboard", "1");
    ASSERT_EQ(waitForHidrawNodes(kVendor, kProduct, 1).size(), 1U);
    const std::string folder = findUsbDevices(kVendor, kProduct).at(0);
    const TreeHandle tree = observingTree();
    ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 1; }));
    {
        // Exported, it is a device of this machine no longer.
        ExportedDevice exported(folder);
        ASSERT_TRUE(waitUntil([&] { return exported.isFinished(); }));
        ASSERT_TRUE(runUntil([&] { return told.arrivals.size() == 2; }));
        ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
        const DeviceHandle keyboard = tree->getDeviceAtIndex(0);
        EXPECT_EQ(keyboard->getProductName(), "QEMU USB Keyboard");
        EXPECT_EQ(exported.attachedName(), QrxDeviceIdentity(*keyboard).getPortChain());
        const auto log = openWithLog(keyboard);

        qemu.typeKey("a");
        ASSERT_TRUE(runUntil([&] { return log->input.size() == 2; }));
        EXPECT_EQ(log->input.at(0).bytes, (Bytes{0, 0, 4, 0, 0, 0, 0, 0}));
        EXPECT_EQ(log->input.at(1).bytes, Bytes(8));

        const std::uint8_t capsLock[] = {2};
        EXPECT_FALSE(QrxSetReport(*keyboard, QrxReportType::output, 0, capsLock, sizeof capsLock, 0).hasFailed());

        exported.withdraw();
        ASSERT_TRUE(runUntil([&] { return tree->getHIDDeviceCount() == 0; }));
        keyboard->close();
    }
    qemu.pull("keyboard");
}
