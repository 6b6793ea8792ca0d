// The public face of a virtual device: it checks what an application gives and turns it into the facts that a provider
// would read from a real device. The device itself is shared with the registry and with open channels, which may
// outlive this object.

#include "QrxVirtualDevice.h"

#include "ScriptedBehaviour.h"
#include "VirtualDeviceBody.h"
#include "VirtualScriptBody.h"

#include <atomic>
#include <optional>
#include <set>
#include <stdexcept>
#include <utility>

namespace {

using qrx::platform::DeviceFacts;
using qrx::platform::InterfaceFacts;
using qrx::platform::kHIDClass;
using qrx::platform::ReportType;
using qrx::platform::SentReport;

constexpr std::uint8_t kVendorSpecificClass = 0xFF;
// As DeviceFacts counts speeds: the one that goes with the packet size of endpoint 0 below.
constexpr std::uint8_t kHighSpeed = 2;

std::optional<std::string> presentText(const std::string& text)
{
    return text.empty() ? std::nullopt : std::optional(text);
}

InterfaceFacts factsOf(const QrxVirtualInterface& interface)
{
    if (interface.getNumber() < 0 || interface.getNumber() > 0xFF) {
        throw std::invalid_argument("USB interface number " + std::to_string(interface.getNumber()) +
                                    " is not in 0..255");
    }
    InterfaceFacts facts;
    facts.number = static_cast<std::uint8_t>(interface.getNumber());
    // An interrupt endpoint for input, which every HID interface has (HID 1.11, 4.4). Reports to the device go through
    // endpoint 0.
    facts.endpointCount = 1;
    // An interface without a report descriptor stands for one that is not HID: it is listed and has no driver.
    facts.interfaceClass = interface.getReportDescriptor().empty() ? kVendorSpecificClass : kHIDClass;
    facts.interfaceSubclass = interface.getSubclass();
    facts.interfaceProtocol = interface.getProtocol();
    facts.name = presentText(interface.getName());
    facts.reportDescriptor = interface.getReportDescriptor();
    return facts;
}

/// Each virtual device has a place of its own, as if it were always plugged into the same port.
std::string nextPlace()
{
    static std::atomic<unsigned> sm_Count{0};
    return "virtual-" + std::to_string(++sm_Count);
}

DeviceFacts factsOf(const QrxVirtualIdentity& identity, const std::vector<QrxVirtualInterface>& interfaces)
{
    DeviceFacts facts;
    facts.vendorID = identity.getVendorID();
    facts.productID = identity.getProductID();
    facts.releaseNumber = identity.getReleaseNumber();
    facts.deviceClass = identity.getDeviceClass();
    facts.deviceSubclass = identity.getDeviceSubclass();
    facts.deviceProtocol = identity.getDeviceProtocol();
    // What a high speed device has on endpoint 0 (USB 2.0, 5.5.3).
    facts.maxPacketSize0 = 64;
    facts.vendorName = presentText(identity.getVendorName());
    facts.productName = presentText(identity.getProductName());
    facts.serialNumber = presentText(identity.getSerialNumber());
    facts.speed = kHighSpeed;
    facts.place = nextPlace();
    facts.isVirtual = true;
    std::set<int> numbers;
    for (const QrxVirtualInterface& interface : interfaces) {
        if (!numbers.insert(interface.getNumber()).second) {
            throw std::invalid_argument("two interfaces have the number " + std::to_string(interface.getNumber()));
        }
        facts.interfaces.push_back(factsOf(interface));
    }
    return facts;
}

QrxVirtualIdentity identityOf(const QrxRecording& recording)
{
    return QrxVirtualIdentity(recording.getVendorID(), recording.getProductID())
        .setReleaseNumber(recording.getReleaseNumber())
        .setDeviceClass(recording.getDeviceClass())
        .setDeviceSubclass(recording.getDeviceSubclass())
        .setDeviceProtocol(recording.getDeviceProtocol())
        .setVendorName(recording.getVendorName())
        .setProductName(recording.getProductName())
        .setSerialNumber(recording.getSerialNumber());
}

std::vector<QrxVirtualInterface> interfacesOf(const QrxRecording& recording)
{
    std::vector<QrxVirtualInterface> interfaces;
    for (const QrxRecordedInterface& recorded : recording.getInterfaces()) {
        interfaces.push_back(QrxVirtualInterface(recorded.getNumber(), recorded.getReportDescriptor())
                                 .setName(recorded.getName())
                                 .setSubclass(recorded.getSubclass())
                                 .setProtocol(recorded.getProtocol()));
    }
    return interfaces;
}

QrxSentReport publicForm(const SentReport& report)
{
    return {report.interfaceNumber, static_cast<unsigned int>(report.type), report.reportID, report.bytes};
}

} // namespace

QrxVirtualDevice::QrxVirtualDevice(QrxVirtualIdentity identity, std::vector<QrxVirtualInterface> interfaces)
    : _body(std::make_shared<Body>())
{
    // Shared: ports and channels of the registry may outlive the application's object.
    _body->device = std::make_shared<qrx::platform::VirtualUsbDevice>(factsOf(identity, interfaces));
    _body->identity = std::move(identity);
}

QrxVirtualDevice::QrxVirtualDevice(const QrxRecording& recording)
    : QrxVirtualDevice(identityOf(recording), interfacesOf(recording))
{
}

QrxVirtualDevice::~QrxVirtualDevice()
{
    // Open channels keep the device alive, but a device without its owner must not stay plugged.
    unplug();
}

QrxVirtualDevice::QrxVirtualDevice(QrxVirtualDevice&& other) noexcept = default;

QrxVirtualDevice& QrxVirtualDevice::operator=(QrxVirtualDevice&& other) noexcept
{
    QrxVirtualDevice moved(std::move(other));
    // The earlier device leaves with `moved`, which unplugs it.
    std::swap(_body, moved._body);
    return *this;
}

QrxVirtualDevice::Body& QrxVirtualDevice::_heldBody() const
{
    if (_body == nullptr) {
        throw std::logic_error("the virtual device was moved elsewhere");
    }
    return *_body;
}

const QrxVirtualIdentity& QrxVirtualDevice::getIdentity() const
{
    return _heldBody().identity;
}

void QrxVirtualDevice::plug()
{
    _heldBody().device->plug();
}

void QrxVirtualDevice::unplug()
{
    if (_body != nullptr) {
        _body->device->unplug();
    }
}

bool QrxVirtualDevice::isPlugged() const
{
    return _body != nullptr && _body->device->isPlugged();
}

std::size_t QrxVirtualDevice::getOpenCount(int interfaceNumber) const
{
    return _heldBody().device->openCount(interfaceNumber);
}

bool QrxVirtualDevice::sendInputReport(int interfaceNumber, const std::uint8_t* bytes, std::size_t count)
{
    return _heldBody().device->sendInputReport(interfaceNumber, {bytes, count});
}

bool QrxVirtualDevice::sendInputReport(int interfaceNumber, const std::vector<std::uint8_t>& bytes)
{
    return _heldBody().device->sendInputReport(interfaceNumber, bytes);
}

bool QrxVirtualDevice::hasRoom(int interfaceNumber) const
{
    return _heldBody().device->hasRoom(interfaceNumber);
}

void QrxVirtualDevice::setSentReportHandler(SentReportHandler handler)
{
    // An empty function takes the handler away; wrapped, it would be one that throws when it is called.
    if (!handler) {
        _heldBody().device->setSentReportHandler({});
        return;
    }
    _heldBody().device->setSentReportHandler(
        [handler = std::move(handler)](const SentReport& report) { return handler(publicForm(report)); });
}

void QrxVirtualDevice::setReportRequestHandler(ReportRequestHandler handler)
{
    if (!handler) {
        _heldBody().device->setReportRequestHandler({});
        return;
    }
    _heldBody().device->setReportRequestHandler([handler = std::move(handler)](int interfaceNumber, ReportType type,
                                                                               std::uint32_t reportID,
                                                                               std::vector<std::uint8_t>& answer) {
        return handler(interfaceNumber, static_cast<unsigned int>(type), reportID, answer);
    });
}

std::vector<QrxSentReport> QrxVirtualDevice::takeSentReports()
{
    return _heldBody().device->takeSentReports(publicForm);
}

void QrxVirtualDevice::setScript(const QrxVirtualScript& script)
{
    using qrx::platform::ScriptedBehaviour;
    const auto& device = _heldBody().device;
    // An earlier script ends first: what it wanted to do later does not happen.
    device->setBehaviour(nullptr);
    if (script.getRuleCount() > 0) {
        device->setBehaviour(ScriptedBehaviour::start(device, script._body->rules));
    }
}

void QrxVirtualDevice::setRealDevicesEnabled(bool enabled)
{
    qrx::platform::setProvidersEnabled(enabled);
}
