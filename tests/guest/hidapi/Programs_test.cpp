// Real programs, unchanged, with both libraries on the same device of the kernel: what they say is the same.

#include "library/ChildProcess.h"
#include "library/Plugs.h"
#include "rig_tests/Descriptors.h"
#include "vhci/VhciDevice.h"

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace qrx::guest {
namespace {

/// All that a line of shell prints, with what it ended with, where programs find the libraries of that folder first.
std::string printed(const std::string& folder, const std::string& line)
{
    ChildProcess process(
        {"/bin/sh", "-c", "export LD_LIBRARY_PATH=" + folder + "; " + line + "; echo \"ended with $?\""});
    process.readUntil([](const std::string&) { return false; });
    process.end();
    return process.output();
}

std::string printedWithOurs(const std::string& line)
{
    return printed(QRX_OUR_HIDAPI_FOLDER, line);
}

std::string printedWithHidapi(const std::string& line)
{
    return printed("", line);
}

UsbIdentity identityOf(std::uint16_t vendor, std::uint16_t product, const std::string& name)
{
    UsbIdentity identity;
    identity.vendor = vendor;
    identity.product = product;
    identity.manufacturer = "Recorded";
    identity.productName = name;
    identity.serial = "0001";
    return identity;
}

UsbInterface interfaceOf(Bytes descriptor)
{
    UsbInterface interface;
    interface.reportDescriptor = std::move(descriptor);
    return interface;
}

TEST(HidapiPrograms, UsbrelaySaysTheSameWithBoth)
{
    VhciDevice relay(identityOf(0x16C0, 0x05DF, "USBRelay2"), {interfaceOf(plainDescriptor(8))});
    relay.setReport(0, UsbReportType::feature, 1, {'Q', 'R', 'X', '0', '1', 0, 0, 2});
    plugWhole(relay);
    const std::string listed = printedWithOurs("/usr/bin/usbrelay");
    EXPECT_EQ(listed, "QRX01_1=0\nQRX01_2=1\nended with 0\n");
    EXPECT_EQ(listed, printedWithHidapi("/usr/bin/usbrelay"));

    const auto switched = [&](std::string (*print)(const std::string&)) {
        relay.takeSentReports();
        std::string text = print("/usr/bin/usbrelay QRX01_1=1 QRX01_2=0");
        for (const SentReport& report : relay.waitForSentReports(2)) {
            text += std::to_string(static_cast<int>(report.type)) + ": " + hex(report.bytes) + "\n";
        }
        return text;
    };
    const std::string ours = switched(&printedWithOurs);
    EXPECT_NE(ours.find("ff 01"), std::string::npos) << ours;
    EXPECT_EQ(ours, switched(&printedWithHidapi));
}

/// A probe with nothing connected, which answers the first commands of CMSIS-DAP until it is destroyed.
class Probe {
public:
    Probe() : _device(identityOf(0x1234, 0x0010, "Recorded CMSIS-DAP"), {interfaceOf(plainDescriptor(kPacketBytes))})
    {
        plugWhole(_device);
        _thread = std::thread([this] { serve(); });
    }
    ~Probe()
    {
        _isEnding = true;
        _thread.join();
    }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

private:
    static constexpr std::size_t kPacketBytes = 64;

    void serve()
    {
        while (!_isEnding) {
            for (const SentReport& report : _device.waitForSentReports(1, std::chrono::milliseconds(100))) {
                if (report.bytes.size() >= 2) {
                    Bytes answer = answerTo(report.bytes[0], report.bytes[1]);
                    answer.resize(kPacketBytes);
                    _device.sendInput(0, std::move(answer));
                }
            }
        }
    }
    static Bytes answerTo(std::uint8_t command, std::uint8_t detail)
    {
        // Information: firmware 2.1.0, SWD, one packet of 64 bytes at a time. A transfer: the target did not
        // acknowledge.
        static const std::map<std::uint8_t, Bytes> sm_Information{
            {0x04, {0, 6, '2', '.', '1', '.', '0', 0}}, {0xF0, {0, 1, 1}}, {0xFE, {0, 1, 1}}, {0xFF, {0, 2, 64, 0}}};
        if (command == 0) {
            const auto known = sm_Information.find(detail);
            return known != sm_Information.end() ? known->second : Bytes{0, 0};
        }
        switch (command) {
        case 0x02:
            return {command, 1};
        case 0x05:
            return {command, 0, 7};
        default:
            return {command, 0};
        }
    }

    VhciDevice _device;
    std::atomic<bool> _isEnding{false};
    std::thread _thread;
};

TEST(HidapiPrograms, OpenOcdSaysTheSameWithBoth)
{
    const Probe probe;
    const std::string line = "/usr/bin/openocd -c 'adapter driver cmsis-dap' -c 'cmsis_dap_backend hid'"
                             " -c 'cmsis_dap_vid_pid 0x1234 0x0010' -c 'transport select swd' -c 'adapter speed 1000'"
                             " -c 'swd newdap chip cpu -expected-id 0x2ba01477'"
                             " -c 'dap create chip.dap -chain-position chip.cpu' -c init -c exit";
    const std::string ours = printedWithOurs(line);
    EXPECT_NE(ours.find("FW Version = 2.1.0"), std::string::npos) << ours;
    EXPECT_NE(ours.find("cannot read IDR"), std::string::npos) << ours;
    EXPECT_EQ(ours, printedWithHidapi(line));
}

} // namespace
} // namespace qrx::guest
