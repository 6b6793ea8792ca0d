#include "oracle/KernelParser.h"

#include "devices/UhidDevice.h"
#include "support/Waiting.h"
#include "vhci/VhciDevice.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

namespace qrx::guest {

namespace {

/// An id of its own: no special driver, no quirk.
constexpr std::uint16_t kProduct = 0x0ACE;

/// A hostile descriptor can make the parser complain thousands of times.
constexpr std::size_t kMaximumReason = 300;

} // namespace

KernelParser::KernelParser() : _log(::open("/dev/kmsg", O_RDONLY | O_NONBLOCK | O_CLOEXEC))
{
    if (_log < 0 || ::lseek(_log, 0, SEEK_END) < 0)
        throw std::runtime_error("the kernel's log cannot be read");
}

KernelParser::~KernelParser()
{
    ::close(_log);
}

KernelVerdict KernelParser::read(const Bytes& descriptor)
{
    const KernelVerdict verdict = readAsUserDevice(descriptor);
    return verdict.reason.find("report is too long") == std::string::npos ? verdict : readAsUsbDevice(descriptor);
}

KernelVerdict KernelParser::readAsUserDevice(const Bytes& descriptor)
{
    UhidIdentity identity;
    identity.product = kProduct;
    identity.phys = "oracle/" + std::to_string(_count++);
    try {
        const UhidDevice device(identity, descriptor);
        return decide(device.sysfsPath());
    } catch (const std::system_error& error) {
        return {false, {}, error.what()}; // refused before the parser saw it
    }
}

KernelVerdict KernelParser::readAsUsbDevice(const Bytes& descriptor)
{
    UsbIdentity identity;
    identity.product = kProduct;
    UsbInterface interface;
    interface.reportDescriptor = descriptor;
    VhciDevice device(identity, {interface});
    device.plug();
    std::string hidDevice;
    waitUntil([&] {
        const std::string usbInterface = device.sysfsPath() + ":1.0";
        for (const std::string& name : listFolder(usbInterface)) {
            if (name.starts_with("0003:"))
                hidDevice = usbInterface + "/" + name;
        }
        return !hidDevice.empty();
    });
    return decide(hidDevice);
}

/// Waits for what becomes of a HID device. One that was accepted gets its report node last.
KernelVerdict KernelParser::decide(const std::string& device)
{
    KernelVerdict verdict;
    const std::string name = std::filesystem::path(device).filename();
    _parserLines.clear();
    bool rejected = false;
    const bool decided = waitUntil([&] {
        rejected = isRejected(name);
        verdict.accepted = !rejected && !listFolder(device + "/hidraw").empty();
        return rejected || verdict.accepted;
    });
    if (device.empty() || !decided)
        throw std::runtime_error("the kernel comes to no verdict");
    if (verdict.accepted)
        verdict.text = readFile("/sys/kernel/debug/hid/" + name + "/rdesc").value_or("");
    else
        verdict.reason = _parserLines;
    return verdict;
}

/// One line of the log, without its head; none if there is no more. Lines that were lost do not count.
std::optional<std::string> KernelParser::readLogRecord()
{
    std::array<char, 8192> record;
    ssize_t count = 0;
    do {
        count = ::read(_log, record.data(), record.size());
    } while (count < 0 && (errno == EPIPE || errno == EINTR));
    if (count <= 0)
        return std::nullopt;
    const std::string line(record.data(), static_cast<std::size_t>(count));
    const std::size_t start = line.find(';');
    return start == std::string::npos ? std::string{} : line.substr(start + 1, line.find('\n') - start - 1);
}

bool KernelParser::isRejected(const std::string& device)
{
    while (const std::optional<std::string> line = readLogRecord()) {
        if (line->find("probe of " + device + " failed with error") != std::string::npos)
            return true;
        const std::size_t head = line->find(device + ": ");
        if (head != std::string::npos && _parserLines.size() < kMaximumReason)
            _parserLines += (_parserLines.empty() ? "" : "; ") + line->substr(head + device.size() + 2);
    }
    return false;
}

} // namespace qrx::guest
