#include "support/QemuDevices.h"

#include <stdexcept>

namespace qrx::guest {

namespace {

std::string inputEvents(const std::string& events)
{
    return R"({"execute":"input-send-event","arguments":{"events":[)" + events + "]}}";
}

std::string keyEvent(const std::string& name, bool down)
{
    return std::string(R"({"type":"key","data":{"down":)") + (down ? "true" : "false") +
           R"(,"key":{"type":"qcode","data":")" + name + R"("}}})";
}

std::string buttonEvent(const std::string& name, bool down)
{
    return std::string(R"({"type":"btn","data":{"down":)") + (down ? "true" : "false") + R"(,"button":")" + name +
           R"("}})";
}

std::string moveEvent(const char* type, const char* axis, int value)
{
    return std::string(R"({"type":")") + type + R"(","data":{"axis":")" + axis + R"(","value":)" +
           std::to_string(value) + "}}";
}

} // namespace

void QemuDevices::execute(const std::string& json)
{
    const std::string answer = _host.qmp(json);
    if (answer.find("\"return\"") == std::string::npos)
        throw std::runtime_error(json + " was answered with " + answer);
}

void QemuDevices::plug(const std::string& driver, const std::string& id, const std::string& port)
{
    execute(R"({"execute":"device_add","arguments":{"driver":")" + driver + R"(","id":")" + id +
            R"(","bus":"xhci.0","port":")" + port + R"("}})");
}

void QemuDevices::pull(const std::string& id)
{
    execute(R"({"execute":"device_del","arguments":{"id":")" + id + R"("}})");
}

void QemuDevices::typeKey(const std::string& name)
{
    setKey(name, true);
    setKey(name, false);
}

void QemuDevices::setKey(const std::string& name, bool down)
{
    execute(inputEvents(keyEvent(name, down)));
}

void QemuDevices::moveMouse(int x, int y)
{
    execute(inputEvents(moveEvent("rel", "x", x) + "," + moveEvent("rel", "y", y)));
}

void QemuDevices::moveTablet(int x, int y)
{
    execute(inputEvents(moveEvent("abs", "x", x) + "," + moveEvent("abs", "y", y)));
}

void QemuDevices::setButton(const std::string& name, bool down)
{
    execute(inputEvents(buttonEvent(name, down)));
}

void QemuDevices::turnWheel(bool up)
{
    // QEMU has the wheel as two buttons; both halves in one command are one change of the device.
    const std::string name = up ? "wheel-up" : "wheel-down";
    execute(inputEvents(buttonEvent(name, true) + "," + buttonEvent(name, false)));
}

} // namespace qrx::guest
