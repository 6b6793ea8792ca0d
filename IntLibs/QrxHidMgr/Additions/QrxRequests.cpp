// Opening, sending and asking with an outcome. The operations of the model report nothing, so these go around it where
// they must: the connection keeps what the platform answered to its last open or send, and that answer is taken here.
// Checks that need no device come first: a report of the wrong length or with a wrong first byte is refused before
// anything is sent, where a device might stall, or misread it without a word.
//
// Each operation holds the device: a virtual device answers within the call, and its handler may drop every other
// handle.

#include "QrxRequests.h"

#include "Ground.h"
#include "InterfaceAccess.h"
#include "InterfaceLayout.h"
#include "PlatformResult.h"
#include "QrxDeviceIdentity.h"
#include "ReportTypes.h"
#include "SelfReference.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>
#include <system_error>
#include <valarray>

using namespace qrx;

namespace {

using Connection = mis::swizzler<_QrxHIDDeviceConnectionImpl>;

/// "1234:abcd at 1-2.1, interface 2 (/dev/hidraw3)". Numbers only: a device's names may hold anything.
std::string nameOf(const QrxHIDDevice& device, int interfaceNumber)
{
    std::array<char, 16> ids{};
    std::snprintf(ids.data(), ids.size(), "%04x:%04x", static_cast<unsigned>(device.getVendorID() & 0xFFFF),
                  static_cast<unsigned>(device.getProductID() & 0xFFFF));
    const QrxDeviceIdentity identity(device);
    std::string name = ids.data();
    if (!identity.getPortChain().empty()) {
        name.append(" at ").append(identity.getPortChain());
    }
    name.append(", interface ").append(std::to_string(interfaceNumber));
    if (const std::string& node = identity.getNodePath(interfaceNumber); !node.empty()) {
        name.append(" (").append(node).append(")");
    }
    return name;
}

/// How opening and closing fail.
QrxOutcome failure(std::error_code error, const QrxHIDDevice& device, int interfaceNumber, const char* what)
{
    return {error, nameOf(device, interfaceNumber).append(" was not ").append(what)};
}

/// One request for one report: what its checks and its messages need.
struct Request {
    const QrxHIDDevice& device;
    QrxReportType type;
    unsigned int reportID;
    int interfaceNumber;

    QrxOutcome fail(std::error_code error, const char* what) const
    {
        if (!error) {
            return {};
        }
        static constexpr std::array<const char*, 3> kTypes{"input", "output", "feature"};
        const auto index = static_cast<std::size_t>(type);
        std::string subject = nameOf(device, interfaceNumber);
        subject.append(": ").append(index < kTypes.size() ? kTypes[index] : "unknown").append(" report");
        if (reportID != 0) {
            subject.append(" ").append(std::to_string(reportID));
        }
        return {error, subject.append(" was not ").append(what)};
    }

    /// The report's size as the descriptor has it; 0 if there is no such report, no value if the descriptor is not
    /// published.
    std::optional<std::size_t> declaredSize() const
    {
        const auto layout = InterfaceLayout::of(device, interfaceNumber);
        // Without a published descriptor, or for one without reports, the size cannot be checked: the platform decides.
        if (!layout || layout->reports()->reports().empty()) {
            return std::nullopt;
        }
        const auto known = privateType(type);
        return known ? (layout->reports()->reportBits(*known, reportID) + 7) / 8 : 0;
    }

    std::error_code checkToSend(const std::uint8_t* bytes, std::size_t count) const
    {
        const std::optional<std::size_t> size = declaredSize();
        if (size == 0U) {
            return QrxError::noSuchReport;
        }
        // The kernel and the devices accept other lengths, but what they make of them differs: a short report is sent
        // short, and a long one may be cut.
        if (count == 0 || count != size.value_or(count)) {
            return QrxError::wrongLength;
        }
        // The first byte is what the device takes for the number, whatever number the request has.
        return reportID != 0 && bytes[0] != reportID ? QrxError::wrongFirstByte : std::error_code();
    }

    std::error_code checkToReceive(std::size_t capacity) const
    {
        const std::optional<std::size_t> size = declaredSize();
        if (size == 0U) {
            return QrxError::noSuchReport;
        }
        // A smaller buffer would lose the end of the answer without a word.
        return capacity == 0 || capacity < size.value_or(0) ? QrxError::wrongLength : std::error_code();
    }
};

std::size_t largestSize(const _QrxHIDDeviceConnectionImpl& connection, QrxReportType type)
{
    switch (type) {
    case QrxReportType::input:
        return connection.getInputReportSize();
    case QrxReportType::output:
        return connection.getOutputReportSize();
    default:
        return connection.getFeatureReportSize();
    }
}

/// Opening what is open succeeds, unless the device has left: then no input will come.
std::error_code checkOpen(const _QrxHIDDeviceConnectionImpl& connection)
{
    return hasLeft(connection._borrowedDeviceInterface()) ? QrxError::gone : std::error_code();
}

/// Opening calls nothing of the application's, so what is caught here is the platform's own: no descriptor is left.
std::error_code open(_QrxHIDDeviceConnectionImpl& connection)
{
    // Opening twice would start input twice.
    if (connection._isOpen()) {
        return checkOpen(connection);
    }
    // An answer to an earlier call must not be taken for one to this call.
    static_cast<void>(connection._takeResult());
    try {
        connection.open();
    } catch (const std::system_error& error) {
        return error.code() == std::errc::too_many_files_open ? QrxError::outOfDescriptors : error.code();
    }
    return errorOfResult(connection._takeResult().value_or(kIOReturnError));
}

} // namespace

QrxOutcome QrxOpen(QrxHIDDevice& device, int interfaceNumber)
{
    const SelfHold hold(device);
    const Connection connection = connectionOf(device, interfaceNumber);
    if (!connection) {
        return failure(QrxError::noSuchInterface, device, interfaceNumber, "opened");
    }
    const std::error_code error = open(*connection);
    return error ? failure(error, device, interfaceNumber, "opened") : QrxOutcome();
}

QrxOutcome QrxOpen(QrxHIDDevice& device)
{
    const SelfHold hold(device);
    const auto* found = dynamic_cast<const _QrxHIDDeviceImpl*>(&device);
    if (found == nullptr) {
        return failure(QrxError::noSuchInterface, device, 0, "opened");
    }
    QrxOutcome first;
    // Only what this call has opened is closed again: other interfaces may be in use.
    std::vector<Connection> opened(found->_getInterfaces().size());
    try {
        for (std::size_t index = 0; index < opened.size(); ++index) {
            const mis::swizzler<_QrxHIDInterfaceMac>& interface = found->_getInterfaces()[index];
            const Connection connection = interface->_borrowedConnection();
            if (!connection) {
                continue;
            }
            // Remembered before it is opened: an exception may leave it half open, and closing that is harmless.
            if (!connection->_isOpen()) {
                opened[index] = connection;
            }
            // One interface that fails does not keep the others closed: a keyboard that the system reserves is common
            // beside a vendor interface that may be opened. The first error is reported.
            const std::error_code error = open(*connection);
            if (error && !first.hasFailed()) {
                first = failure(error, device, interface->getInterfaceNumber(), "opened");
            }
        }
    } catch (...) {
        for (const Connection& connection : opened) {
            if (connection) {
                connection->close();
            }
        }
        throw;
    }
    return first;
}

QrxOutcome QrxClose(QrxHIDDevice& device, int interfaceNumber)
{
    const SelfHold hold(device);
    const Connection connection = connectionOf(device, interfaceNumber);
    if (!connection) {
        return failure(QrxError::noSuchInterface, device, interfaceNumber, "closed");
    }
    if (connection->_isOpen()) {
        connection->close();
    }
    return {};
}

bool QrxIsOpen(const QrxHIDDevice& device)
{
    const auto* found = dynamic_cast<const _QrxHIDDeviceImpl*>(&device);
    return found != nullptr && std::any_of(found->_getInterfaces().begin(), found->_getInterfaces().end(),
                                           [](const mis::swizzler<_QrxHIDInterfaceMac>& interface) {
                                               const auto* connection = interface->_borrowedConnection();
                                               return connection != nullptr && connection->_isOpen();
                                           });
}

bool QrxIsOpen(const QrxHIDDevice& device, int interfaceNumber)
{
    const Connection connection = connectionOf(device, interfaceNumber);
    return connection && connection->_isOpen();
}

QrxOutcome QrxSetReport(QrxHIDDevice& device, QrxReportType reportType, unsigned int reportID, const uint8_t* bytes,
                        size_t count, int interfaceNumber)
{
    const SelfHold hold(device);
    const Request request{device, reportType, reportID, interfaceNumber};
    const Connection connection = connectionOf(device, interfaceNumber);
    if (!connection) {
        return request.fail(QrxError::noSuchInterface, "sent");
    }
    if (const std::error_code error = request.checkToSend(bytes, count)) {
        return request.fail(error, "sent");
    }
    static_cast<void>(connection->_takeResult());
    // The model's operation sends, so that the delegate is told as with any other send.
    device.setReport(static_cast<unsigned int>(reportType), reportID, std::valarray<uint8_t>(bytes, count),
                     interfaceNumber);
    // No result means that nothing was sent: the driver offered no device interface.
    return request.fail(errorOfResult(connection->_takeResult().value_or(kIOReturnError)), "sent");
}

QrxOutcome QrxGetReport(QrxHIDDevice& device, QrxReportType reportType, unsigned int reportID, uint8_t* buffer,
                        size_t capacity, size_t& received, int interfaceNumber)
{
    received = 0;
    const SelfHold hold(device);
    const Request request{device, reportType, reportID, interfaceNumber};
    const Connection connection = connectionOf(device, interfaceNumber);
    // The model has no operation that asks a device for a report, so this one goes to the driver itself.
    IOHIDDeviceInterface122** const driver = connection ? connection->_borrowedDeviceInterface() : nullptr;
    if (driver == nullptr) {
        return request.fail(QrxError::noSuchInterface, "received");
    }
    if (const std::error_code error = request.checkToReceive(capacity)) {
        return request.fail(error, "received");
    }
    // The platform counts in 32 bits, and no report comes near.
    auto size = static_cast<UInt32>(std::min<std::size_t>(capacity, UINT32_MAX));
    const IOReturn result = (*driver)->getReport(driver, static_cast<IOHIDReportType>(reportType), reportID, buffer,
                                                 &size, 0, nullptr, nullptr, nullptr);
    if (result == kIOReturnSuccess) {
        // Never more than the buffer, whatever a driver says.
        received = std::min<std::size_t>(size, capacity);
    }
    return request.fail(errorOfResult(result), "received");
}

QrxOutcome QrxGetReport(QrxHIDDevice& device, QrxReportType reportType, unsigned int reportID,
                        std::vector<uint8_t>& report, int interfaceNumber)
{
    // Empty on every failure, so that an old answer is not taken for a new one.
    report.clear();
    const Request request{device, reportType, reportID, interfaceNumber};
    const Connection connection = connectionOf(device, interfaceNumber);
    // Where the size is not known the report cannot be longer than the longest of its type.
    const std::size_t longest = connection ? largestSize(*connection, reportType) : 0;
    std::vector<uint8_t> answer(std::max<std::size_t>(request.declaredSize().value_or(longest), 1));
    std::size_t received = 0;
    QrxOutcome outcome =
        QrxGetReport(device, reportType, reportID, answer.data(), answer.size(), received, interfaceNumber);
    if (!outcome.hasFailed()) {
        answer.resize(received);
        report = std::move(answer);
    }
    return outcome;
}
