#include "QrxRecording.h"

#include "RecordingReader.h"
#include "RecordingRules.h"
#include "RecordingWriter.h"
#include "Text/ShownText.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <ostream>
#include <utility>

namespace {

/// BUS_USB of the kernel's input system.
constexpr std::uint16_t kUsbBus = 3;

std::string placeOf(const std::string& fileName, std::size_t line)
{
    return line == 0 ? fileName : fileName + ":" + std::to_string(line);
}

} // namespace

QrxRecordingError::QrxRecordingError(const std::string& fileName, std::size_t line, const std::string& reason)
    // The message quotes bytes of the file, so it is made fit to be shown here, once for all callers.
    : std::runtime_error(qrx::shownText(placeOf(fileName, line) + ": " + reason)), _line(line)
{
}

// The classes of a recording hold a body each, by pointer: facts can be added without a change of what programs were
// built with.
struct QrxRecording::Body {
    std::uint16_t bus = kUsbBus;
    std::uint16_t vendorID = 0;
    std::uint16_t productID = 0;
    std::uint16_t releaseNumber = 0;
    std::uint8_t deviceClass = 0;
    std::uint8_t deviceSubclass = 0;
    std::uint8_t deviceProtocol = 0;
    std::string vendorName;
    std::string productName;
    std::string serialNumber;
    std::vector<QrxRecordedInterface> interfaces;
    std::vector<QrxRecordedEvent> events;
    std::vector<std::string> comments;
};

QrxRecording::QrxRecording() : _body(std::make_unique<Body>()) {}

QrxRecording::QrxRecording(const QrxRecording& other) : _body(std::make_unique<Body>(*other._body)) {}

QrxRecording::QrxRecording(QrxRecording&& other) noexcept = default;

// The copy was made for the parameter: if it throws, this recording is unchanged.
QrxRecording& QrxRecording::operator=(QrxRecording other) noexcept
{
    _body.swap(other._body);
    return *this;
}

QrxRecording::~QrxRecording() = default;

std::uint16_t QrxRecording::getBus() const
{
    return _body->bus;
}

QrxRecording& QrxRecording::setBus(std::uint16_t bus)
{
    _body->bus = bus;
    return *this;
}

std::uint16_t QrxRecording::getVendorID() const
{
    return _body->vendorID;
}

QrxRecording& QrxRecording::setVendorID(std::uint16_t vendorID)
{
    _body->vendorID = vendorID;
    return *this;
}

std::uint16_t QrxRecording::getProductID() const
{
    return _body->productID;
}

QrxRecording& QrxRecording::setProductID(std::uint16_t productID)
{
    _body->productID = productID;
    return *this;
}

std::uint16_t QrxRecording::getReleaseNumber() const
{
    return _body->releaseNumber;
}

QrxRecording& QrxRecording::setReleaseNumber(std::uint16_t releaseNumber)
{
    _body->releaseNumber = releaseNumber;
    return *this;
}

std::uint8_t QrxRecording::getDeviceClass() const
{
    return _body->deviceClass;
}

QrxRecording& QrxRecording::setDeviceClass(std::uint8_t deviceClass)
{
    _body->deviceClass = deviceClass;
    return *this;
}

std::uint8_t QrxRecording::getDeviceSubclass() const
{
    return _body->deviceSubclass;
}

QrxRecording& QrxRecording::setDeviceSubclass(std::uint8_t deviceSubclass)
{
    _body->deviceSubclass = deviceSubclass;
    return *this;
}

std::uint8_t QrxRecording::getDeviceProtocol() const
{
    return _body->deviceProtocol;
}

QrxRecording& QrxRecording::setDeviceProtocol(std::uint8_t deviceProtocol)
{
    _body->deviceProtocol = deviceProtocol;
    return *this;
}

const std::string& QrxRecording::getVendorName() const
{
    return _body->vendorName;
}

QrxRecording& QrxRecording::setVendorName(std::string vendorName)
{
    _body->vendorName = std::move(vendorName);
    return *this;
}

const std::string& QrxRecording::getProductName() const
{
    return _body->productName;
}

QrxRecording& QrxRecording::setProductName(std::string productName)
{
    _body->productName = std::move(productName);
    return *this;
}

const std::string& QrxRecording::getSerialNumber() const
{
    return _body->serialNumber;
}

QrxRecording& QrxRecording::setSerialNumber(std::string serialNumber)
{
    _body->serialNumber = std::move(serialNumber);
    return *this;
}

const std::vector<QrxRecordedInterface>& QrxRecording::getInterfaces() const
{
    return _body->interfaces;
}

std::vector<QrxRecordedInterface>& QrxRecording::getInterfaces()
{
    return _body->interfaces;
}

QrxRecording& QrxRecording::setInterfaces(std::vector<QrxRecordedInterface> interfaces)
{
    _body->interfaces = std::move(interfaces);
    return *this;
}

const std::vector<QrxRecordedEvent>& QrxRecording::getEvents() const
{
    return _body->events;
}

std::vector<QrxRecordedEvent>& QrxRecording::getEvents()
{
    return _body->events;
}

QrxRecording& QrxRecording::setEvents(std::vector<QrxRecordedEvent> events)
{
    _body->events = std::move(events);
    return *this;
}

const std::vector<std::string>& QrxRecording::getComments() const
{
    return _body->comments;
}

std::vector<std::string>& QrxRecording::getComments()
{
    return _body->comments;
}

QrxRecording& QrxRecording::setComments(std::vector<std::string> comments)
{
    _body->comments = std::move(comments);
    return *this;
}

QrxRecording QrxRecording::read(std::istream& text, const std::string& fileName)
{
    return qrx::RecordingReader(fileName).read(text);
}

QrxRecording QrxRecording::readFile(const std::string& fileName)
{
    // A stream does not promise to set errno; without this, a message could show the error of an earlier call.
    errno = 0;
    std::ifstream text(fileName);
    if (!text) {
        throw QrxRecordingError(fileName, 0, std::string("cannot be opened: ") + std::strerror(errno));
    }
    return read(text, fileName);
}

void QrxRecording::write(std::ostream& text) const
{
    // All of it is checked before the first byte, so that no file holds half a recording.
    qrx::checkRecording(*this);
    qrx::RecordingWriter(text).write(*this);
}

void QrxRecording::writeEvent(std::ostream& text, const QrxRecordedEvent& event, std::size_t& afterInterface) const
{
    // For recorders, which write the head once and each event as it comes. Whether events are in order of time is for
    // the caller to keep: this recording does not have the earlier ones.
    qrx::checkEvent(*this, event);
    const bool switchesInterface = _body->interfaces.size() > 1 && afterInterface != event.getInterfaceIndex();
    qrx::RecordingWriter(text).writeEvent(event, switchesInterface);
    afterInterface = event.getInterfaceIndex();
    // A recorder may be ended by a signal at any time; what it has written must be in the file.
    text.flush();
}
