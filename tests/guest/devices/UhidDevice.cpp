#include "devices/UhidDevice.h"

#include <fcntl.h>
#include <linux/uhid.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>

namespace qrx::guest {

namespace {

const std::string kUhidDevices = "/sys/devices/virtual/misc/uhid/";

template <std::size_t N>
void copyText(__u8 (&field)[N], const std::string& text)
{
    std::memcpy(field, text.data(), std::min(text.size(), N - 1));
}

/// The kernel numbers the types otherwise than the HID class does.
UsbReportType typeOf(std::uint8_t number)
{
    return number == UHID_FEATURE_REPORT  ? UsbReportType::feature
           : number == UHID_OUTPUT_REPORT ? UsbReportType::output
                                          : UsbReportType::input;
}

void writeEvent(int fd, const uhid_event& event)
{
    if (::write(fd, &event, sizeof event) < 0)
        throw std::system_error(errno, std::generic_category(), "uhid");
}

std::unique_ptr<uhid_event> eventOf(std::uint32_t type)
{
    auto event = std::make_unique<uhid_event>();
    event->type = type;
    return event;
}

} // namespace

UhidDevice::UhidDevice(const UhidIdentity& identity, const Bytes& descriptor)
    : _phys(identity.phys), _fd(::open("/dev/uhid", O_RDWR | O_CLOEXEC)), _stopFd(::eventfd(0, EFD_CLOEXEC))
{
    if (_fd < 0)
        throw std::system_error(errno, std::generic_category(), "/dev/uhid");
    const auto event = eventOf(UHID_CREATE2);
    uhid_create2_req& create = event->u.create2;
    copyText(create.name, identity.name);
    copyText(create.phys, identity.phys);
    copyText(create.uniq, identity.uniq);
    create.bus = identity.bus;
    create.vendor = identity.vendor;
    create.product = identity.product;
    create.version = identity.version;
    // The kernel checks the size itself; no more is copied than there is room for.
    create.rd_size = static_cast<std::uint16_t>(descriptor.size());
    std::memcpy(create.rd_data, descriptor.data(), std::min(descriptor.size(), sizeof create.rd_data));
    try {
        writeEvent(_fd, *event);
    } catch (...) {
        ::close(_fd);
        ::close(_stopFd);
        throw;
    }
    _thread = std::thread([this] { serve(); });
}

UhidDevice::~UhidDevice()
{
    const std::uint64_t one = 1;
    [[maybe_unused]] const ssize_t written = ::write(_stopFd, &one, sizeof one);
    _thread.join();
    ::close(_fd); // destroys the device, and waits for it
    ::close(_stopFd);
}

std::string UhidDevice::sysfsPath() const
{
    std::string found;
    waitUntil([&] {
        for (const std::string& name : listFolder(kUhidDevices)) {
            const std::string uevent = readFile(kUhidDevices + name + "/uevent").value_or("");
            if (uevent.find("HID_PHYS=" + _phys + "\n") != std::string::npos)
                found = kUhidDevices + name;
        }
        return !found.empty();
    });
    return found;
}

std::string UhidDevice::waitForNode(std::chrono::milliseconds limit) const
{
    const std::string path = sysfsPath();
    std::string node;
    waitUntil([&] { return !(node = hidrawNodeBelow(path)).empty(); }, limit);
    return node;
}

void UhidDevice::sendInput(const Bytes& bytes)
{
    const auto event = eventOf(UHID_INPUT2);
    event->u.input2.size = static_cast<std::uint16_t>(bytes.size());
    std::memcpy(event->u.input2.data, bytes.data(), std::min(bytes.size(), sizeof event->u.input2.data));
    writeEvent(_fd, *event);
}

std::vector<SentReport> UhidDevice::takeSentReports()
{
    const std::lock_guard lock(_mutex);
    return std::exchange(_sent, {});
}

std::vector<SentReport> UhidDevice::waitForSentReports(std::size_t count, std::chrono::milliseconds limit)
{
    std::unique_lock lock(_mutex);
    _changed.wait_for(lock, limit, [&] { return _sent.size() >= count; });
    return std::exchange(_sent, {});
}

void UhidDevice::setReport(UsbReportType type, std::uint8_t reportID, Bytes bytes)
{
    const std::lock_guard lock(_mutex);
    _reports[{type, reportID}] = std::move(bytes);
}

bool UhidDevice::isOpen() const
{
    const std::lock_guard lock(_mutex);
    return _open;
}

void UhidDevice::serve()
{
    std::array<pollfd, 2> entries{pollfd{_fd, POLLIN, 0}, pollfd{_stopFd, POLLIN, 0}};
    while (::poll(entries.data(), entries.size(), -1) > 0 && entries[1].revents == 0)
        handleEvent();
}

void UhidDevice::handleEvent()
{
    const auto event = std::make_unique<uhid_event>();
    if (::read(_fd, event.get(), sizeof *event) < 0)
        return;
    switch (event->type) {
    case UHID_OPEN:
    case UHID_CLOSE: {
        const std::lock_guard lock(_mutex);
        _open = event->type == UHID_OPEN;
        break;
    }
    case UHID_OUTPUT:
        keep(typeOf(event->u.output.rtype), 0, false, event->u.output.data, event->u.output.size);
        break;
    case UHID_GET_REPORT:
        answerGetReport(event->u.get_report.id, event->u.get_report.rnum, event->u.get_report.rtype);
        break;
    case UHID_SET_REPORT: {
        const uhid_set_report_req& request = event->u.set_report;
        keep(typeOf(request.rtype), request.rnum, true, request.data, request.size);
        const auto reply = eventOf(UHID_SET_REPORT_REPLY);
        reply->u.set_report_reply.id = request.id;
        writeEvent(_fd, *reply);
        break;
    }
    default:
        break;
    }
}

void UhidDevice::answerGetReport(std::uint32_t id, std::uint8_t reportID, std::uint8_t type)
{
    const auto reply = eventOf(UHID_GET_REPORT_REPLY);
    uhid_get_report_reply_req& answer = reply->u.get_report_reply;
    answer.id = id;
    answer.err = EIO;
    {
        const std::lock_guard lock(_mutex);
        const auto found = _reports.find({typeOf(type), reportID});
        if (found != _reports.end()) {
            answer.err = 0;
            answer.size = static_cast<std::uint16_t>(found->second.size());
            std::memcpy(answer.data, found->second.data(), std::min(found->second.size(), sizeof answer.data));
        }
    }
    writeEvent(_fd, *reply);
}

void UhidDevice::keep(UsbReportType type, std::uint8_t reportID, bool byControlRequest, const std::uint8_t* data,
                      std::size_t size)
{
    const std::lock_guard lock(_mutex);
    _sent.push_back({0, type, reportID, byControlRequest, Bytes(data, data + size)});
    _changed.notify_all();
}

} // namespace qrx::guest
