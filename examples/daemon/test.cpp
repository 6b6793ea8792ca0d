// The daemon's test: a virtual thermostat answers, falls silent, refuses, and is pulled. No hardware.
#include "Thermostats.h"

#include <QrxHIDManager/QrxVirtualDevice.h>

#include <cstdio>
#include <cstdlib>

namespace {

std::vector<std::string> sm_Lines;

/// Runs the loop until the daemon says something like that.
void waitFor(const std::string& text)
{
    // Turns, not time: a slow machine has as many.
    for (int turns = 0; turns < 10000; ++turns) {
        for (; !sm_Lines.empty(); sm_Lines.erase(sm_Lines.begin())) {
            if (sm_Lines.front().find(text) != std::string::npos) {
                return;
            }
        }
        QrxRunLoop::getCurrent().runOnce(0.01);
    }
    std::printf("the daemon does not say: %s\n", text.c_str());
    std::exit(1);
}

} // namespace

int main()
{
    QrxVirtualDevice::setRealDevicesEnabled(false);
    const QrxVirtualInterface keys(0, {0x05, 0x0c, 0x09, 0x01, 0xa1, 0x01, 0x15, 0x00, 0x25, 0x01, 0x09, 0xe9, 0x75,
                                       0x08, 0x95, 0x01, 0x81, 0x02, 0xc0});
    const QrxVirtualInterface vendor(1, {0x06, 0x00, 0xff, 0x09, 0x01, 0xa1, 0x01, 0x15, 0x00, 0x25, 0x7f, 0x75,
                                         0x08, 0x95, 0x01, 0x85, 0x01, 0x09, 0x02, 0x91, 0x02, 0x85, 0x02, 0x09,
                                         0x03, 0x81, 0x02, 0x85, 0x03, 0x09, 0x04, 0xb1, 0x02, 0xc0});
    QrxVirtualDevice device(QrxVirtualIdentity(0x1209, 0x0008).setSerialNumber("T1"), {keys, vendor});
    enum { answering, silent, refusing } mode = answering;
    // The report's number comes first, as real devices send it.
    device.setReportRequestHandler([](int, unsigned, unsigned id, std::vector<uint8_t>& answer) {
        answer = {static_cast<uint8_t>(id), 7};
        return true;
    });
    device.setSentReportHandler([&](const QrxSentReport& report) {
        if (mode == answering)
            device.sendInputReport(report.getInterfaceNumber(), {2, 21});
        return mode != refusing;
    });

    // A short interval, so that the test is over soon.
    const Thermostats thermostats([](const std::string& line) { sm_Lines.push_back(line); },
                                  std::chrono::milliseconds(1));
    device.plug();
    waitFor("mode 7");
    waitFor("21 degrees");
    mode = silent;
    waitFor("T1 at virtual-1 does not answer");
    mode = refusing;
    waitFor("output report 1 was not sent: The device refused the request.");
    mode = answering;
    waitFor("21 degrees");
    device.unplug();
    waitFor("is gone");
    std::puts("the daemon holds");
}
