#include "devices/KernelDevice.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <linux/input.h>
#include <linux/uhid.h>
#include <memory>
#include <system_error>
#include <unistd.h>

namespace qrxhid {

namespace {

// More than 4 KiB, hence not on the stack.
std::unique_ptr<uhid_event> eventOf(std::uint32_t type)
{
    auto event = std::make_unique<uhid_event>();
    event->type = type;
    return event;
}

bool write(int fd, const uhid_event& event)
{
    return ::write(fd, &event, sizeof event) == static_cast<ssize_t>(sizeof event);
}

/// What is too long is cut: the kernel ends the texts with 0.
template <std::size_t N>
void copyText(__u8 (&field)[N], const std::string& text)
{
    std::memcpy(field, text.data(), std::min(text.size(), N - 1));
}

/// As the kernel names the devices of the USB driver: maker and product.
std::string nameOf(const QrxRecording& recording, const QrxRecordedInterface& interface)
{
    const std::string separator = recording.getVendorName().empty() || recording.getProductName().empty() ? "" : " ";
    const std::string name = recording.getVendorName() + separator + recording.getProductName();
    return name.empty() ? interface.getName() : name;
}

std::unique_ptr<uhid_event> creationOf(const QrxRecording& recording, const QrxRecordedInterface& interface)
{
    auto event = eventOf(UHID_CREATE2);
    uhid_create2_req& create = event->u.create2;
    copyText(create.name, nameOf(recording, interface));
    copyText(create.phys, interface.getPhysicalPath());
    copyText(create.uniq, recording.getSerialNumber());
    create.bus = BUS_USB;
    create.vendor = recording.getVendorID();
    create.product = recording.getProductID();
    create.version = recording.getReleaseNumber();
    // The kernel refuses a size for which it has no room.
    create.rd_size =
        static_cast<std::uint16_t>(std::min<std::size_t>(interface.getReportDescriptor().size(), UINT16_MAX));
    std::memcpy(create.rd_data, interface.getReportDescriptor().data(),
                std::min(interface.getReportDescriptor().size(), sizeof create.rd_data));
    return event;
}

KernelDevice::SentReport reportOf(std::uint8_t type, const std::uint8_t* data, std::size_t size)
{
    constexpr unsigned int kOutput = 1;
    constexpr unsigned int kFeature = 2;
    return {type == UHID_FEATURE_REPORT ? kFeature : kOutput, std::vector<std::uint8_t>(data, data + size)};
}

} // namespace

KernelDevice::KernelDevice(const QrxRecording& recording, const QrxRecordedInterface& interface,
                           SentReportHandler handler)
    // Non-blocking: this descriptor waits in the same poll as signals and the run loop.
    : _handler(std::move(handler)), _fd(::open(kNode, O_RDWR | O_CLOEXEC | O_NONBLOCK))
{
    if (_fd < 0) {
        throw std::system_error(errno, std::generic_category(), kNode);
    }
    if (!write(_fd, *creationOf(recording, interface))) {
        const int error = errno;
        ::close(_fd);
        throw std::system_error(error, std::generic_category(), "no device can be made of it");
    }
}

KernelDevice::~KernelDevice()
{
    ::close(_fd);
}

// Each request is answered at once: whoever asks waits in the kernel for it, for seconds.
void KernelDevice::serve()
{
    const auto event = std::make_unique<uhid_event>();
    while (::read(_fd, event.get(), sizeof *event) > 0) {
        switch (event->type) {
        case UHID_START:
            _isStarted = true;
            break;
        case UHID_STOP:
            _isStarted = false;
            break;
        // Sent for the first reader and after the last one. Input that is sent in between reaches nobody.
        case UHID_OPEN:
        case UHID_CLOSE:
            _isOpen = event->type == UHID_OPEN;
            break;
        case UHID_OUTPUT:
            _handler(reportOf(event->u.output.rtype, event->u.output.data, event->u.output.size));
            break;
        case UHID_SET_REPORT: {
            const auto reply = eventOf(UHID_SET_REPORT_REPLY);
            reply->u.set_report_reply.id = event->u.set_report.id;
            write(_fd, *reply);
            _handler(reportOf(event->u.set_report.rtype, event->u.set_report.data, event->u.set_report.size));
            break;
        }
        case UHID_GET_REPORT: {
            const auto reply = eventOf(UHID_GET_REPORT_REPLY);
            reply->u.get_report_reply.id = event->u.get_report.id;
            // A recording has no answers to give. The error ends the request; without it whoever asked would wait.
            reply->u.get_report_reply.err = EIO;
            write(_fd, *reply);
            break;
        }
        default:
            break;
        }
    }
}

bool KernelDevice::sendInput(const std::vector<std::uint8_t>& bytes)
{
    const auto event = eventOf(UHID_INPUT2);
    // More than uhid carries (4,096 bytes). It is not cut, since half of a report is another report.
    if (bytes.size() > sizeof event->u.input2.data) {
        return false;
    }
    event->u.input2.size = static_cast<std::uint16_t>(bytes.size());
    std::memcpy(event->u.input2.data, bytes.data(), bytes.size());
    return write(_fd, *event);
}

} // namespace qrxhid
