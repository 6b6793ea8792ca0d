// How input gets from the platform to the device. The platform offers two ways, and `_initReportsQueue` chooses by the
// version of the system:
//
// 1. Interrupt reports: the device interface writes each report into one buffer of ours and calls back with its length.
// It is used where the version is unknown (everywhere but on macOS), and where the driver lists no input report
// elements. The buffer is used again for the next report, so the bytes are copied before the application sees them.
//
// 2. A queue of the "input report elements", one for each report ID, which holds whole reports from 10.4 on. The
// callback only says that the queue is no longer empty; everything that waits is then taken, because the platform calls
// again only after the queue was emptied. A report of up to four bytes comes as a number, a longer one as an allocated
// block that the receiver frees.
//
// Both deliver on the run loop of the thread that opened, and both deliver the same bytes. While a report is delivered,
// the application may close the connection, drop the device or throw; the code after each delivery relies on nothing
// that such a call may have freed.

#include "QrxHIDDeviceConnectionImpl.h"

#include "ExactClass.h"
#include "FirstException.h"
#include "NodeSearch.h"
#include "PropertyReading.h"
#include "QrxHIDCollectionImpl.h"
#include "QrxHIDDeviceDelegateInterface.h"
#include "QrxHIDDeviceEventInterface.h"
#include "QrxHIDDeviceImpl.h"
#include "QrxHIDInterfaceMac.h"
#include "ReportDelivery.h"
#include "SelfReference.h"

#include <CoreServices/CoreServices.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

using namespace qrx;

namespace {

/// The last system whose queues do not hold whole reports, in packed decimal digits: above every 10.3, below 10.4.
constexpr SInt32 kLastSystemWithoutReportQueues = 0x103F;
/// Events that the driver keeps between two runs of the run loop. At 1,000 reports per second, the most that a full
/// speed device sends, this is 64 ms.
constexpr unsigned int kQueueDepth = 64;
/// A queue event carries up to this many bytes in its value, more in a block of its own.
constexpr std::size_t kValueBytes = 4;

/// The result (kIOReturnOverrun) of a callback that reports that input had no room. The interrupt report callback then
/// gets, in place of a size, how often that has happened since its last such call.
constexpr int kInputOverrun = static_cast<int>(0xe00002e8);

// The platform's 32-bit headers declare a cookie as a pointer, later ones as a number. These casts compile with either.
IOHIDElementCookie platformCookie(int cookie)
{
    return (IOHIDElementCookie)(std::uintptr_t) static_cast<unsigned int>(cookie);
}

unsigned int cookieNumber(IOHIDElementCookie cookie)
{
    return (unsigned int)(std::uintptr_t)cookie;
}

// Deprecated from 10.8 on, since later systems do not tell their number exactly. Here it only matters whether it is
// 10.4 or later, and there is no older call that would say so.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

/// In packed decimal digits (0x1068 is 10.6.8); 0 where the platform does not know it, which chooses interrupt reports.
SInt32 systemVersion()
{
    SInt32 version = 0;
    Gestalt(gestaltSystemVersion, &version);
    return version;
}

#pragma GCC diagnostic pop

struct FreeBlock {
    void operator()(void* block) const { std::free(block); }
};

/// The target of a callback if it is a connection of this very class, as it nearly always is, else null.
inline _QrxHIDDeviceConnectionImpl* plainConnection(void* target)
{
    return exactly<_QrxHIDDeviceConnectionImpl>(static_cast<QrxHIDDeviceConnection*>(target));
}

/// The target of a callback if it is a connection of this class or a derived one, else empty.
[[gnu::noinline]] mis::swizzler<_QrxHIDDeviceConnectionImpl> anyConnection(void* target)
{
    return {dynamic_cast<_QrxHIDDeviceConnectionImpl*>(static_cast<QrxHIDDeviceConnection*>(target))};
}

// The callbacks hold the connection until they return, since the receiver of the report may drop everything above it. A
// connection of this very class is held where the report is delivered, by the device that it belongs to if there is
// one.

/// Everything but a report for a connection of this very class. Not inlined into ReportHandlerCallback, which would
/// contain the delivery of a report a second time.
[[gnu::noinline]] void handleOtherCallback(void* target, int result, IOHIDDeviceInterface122** sender,
                                           unsigned long bufferSize)
{
    const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection = anyConnection(target);
    if (connection && result == 0) {
        connection->_reportHandler(sender, bufferSize);
    } else if (connection && result == kInputOverrun) {
        connection->_tellPossibleLoss(bufferSize);
    }
}

/// Called for every report, so everything on the usual way from here to the delegate is inlined here. That saves 20
/// instructions a report; the library spends 413 on each of 60 waiting ones.
///
/// A template, because the width of the length is the platform's own choice.
template <class Length>
[[gnu::flatten]] void ReportHandlerCallback(void* target, int result, void*, void* sender, Length bufferSize)
{
    auto** interface = static_cast<IOHIDDeviceInterface122**>(sender);
    if (auto* plain = plainConnection(target); plain != nullptr && result == 0) {
        plain->_QrxHIDDeviceConnectionImpl::_reportHandler(interface, bufferSize);
    } else {
        handleOtherCallback(target, result, interface, bufferSize);
    }
}

void ReportsQueueCallback(void* target, int result, void*, void* sender)
{
    const mis::swizzler<_QrxHIDDeviceConnectionImpl> connection = anyConnection(target);
    if (connection && result == 0) {
        connection->_reportQueueHandler(static_cast<IOHIDQueueInterface**>(sender));
    } else if (connection && result == kInputOverrun) {
        connection->_tellPossibleLoss(1);
    }
}

std::valarray<uint8_t> bytesAt(const void* start, std::size_t count)
{
    return count != 0 ? std::valarray<uint8_t>(static_cast<const uint8_t*>(start), count) : std::valarray<uint8_t>();
}

/// The low `count` bytes of the value, least significant first; zeros past the fourth.
std::valarray<uint8_t> littleEndianBytes(std::uint32_t value, std::size_t count)
{
    std::valarray<uint8_t> bytes(count);
    for (std::size_t index = 0; index < count && index < kValueBytes; ++index) {
        // A report is little endian on the wire (HID 1.11, 5.8), whatever the byte order of the machine.
        bytes[index] = static_cast<uint8_t>(value >> (8 * index));
    }
    return bytes;
}

} // namespace

_QrxHIDDeviceConnectionImpl::_QrxHIDDeviceConnectionImpl()
    : _entry(0), _properties(nullptr), _deviceInterface(nullptr), _queue(nullptr), _runLoopSource(nullptr),
      _reportBuffer(nullptr), _isOpened(false)
{
}

_QrxHIDDeviceConnectionImpl::~_QrxHIDDeviceConnectionImpl()
{
    // Deliberate: input is not stopped here. A connection that is dropped open keeps its queue, its source and its
    // buffer for good; the end of the device interface silences them.
    _QrxHIDDeviceConnectionImpl::_freeDeviceInterface();
    if (_properties != nullptr) {
        CFRelease(_properties);
        _properties = nullptr;
    }
    if (_entry != 0) {
        IOObjectRelease(_entry);
        _entry = 0;
    }
}

void _QrxHIDDeviceConnectionImpl::open()
{
    _openDeviceInterface();
}

void _QrxHIDDeviceConnectionImpl::close()
{
    _closeDeviceInterface();
}

void _QrxHIDDeviceConnectionImpl::setReport(unsigned int type, unsigned int reportID, std::valarray<uint8_t> bytes)
{
    if (bytes.size() == 0 || _deviceInterface == nullptr) {
        return;
    }
    // A virtual device receives the report within this call and may drop everything above the connection.
    const SelfHold self(*this);
    _result = (*_deviceInterface)
                  ->setReport(_deviceInterface, static_cast<IOHIDReportType>(type), reportID, &bytes[0],
                              static_cast<unsigned int>(bytes.size()), 0, nullptr, nullptr, nullptr);
}

void _QrxHIDDeviceConnectionImpl::_initWithEntry(unsigned int entry)
{
    if (entry == 0 || _entry != 0 || !IOObjectConformsTo(entry, "IOHIDDevice")) {
        return;
    }
    IOObjectRetain(entry);
    _entry = entry;
    _properties = properties::snapshot(entry);
    // Making the device interface opens nothing: devices are built long before, and often without ever being opened.
    _createDeviceInterface();
}

mis::swizzler<_QrxHIDInterfaceMac> _QrxHIDDeviceConnectionImpl::_getInterface()
{
    return nearestAbove<_QrxHIDInterfaceMac, _QrxHIDCollectionImpl>(*this);
}

void _QrxHIDDeviceConnectionImpl::_createDeviceInterface()
{
    if (_deviceInterface != nullptr) {
        return;
    }
    // A plug-in interface is the factory that the platform loads for the driver's entry. It is needed only to ask for
    // the device interface and is given back at once, on every path.
    IOCFPlugInInterface** plugIn = nullptr;
    SInt32 score = 0;
    if (IOCreatePlugInInterfaceForService(_entry, kIOHIDDeviceUserClientTypeID, kIOCFPlugInInterfaceID, &plugIn,
                                          &score) != 0) {
        return;
    }
    // Deliberate: the plain interface is asked for, although its table is used up to the end of the 1.2.2 one; the
    // platform answers every version with the same table. A failure leaves null.
    void* interface = nullptr;
    FirstException failure;
    failure.watch([&] { (*plugIn)->QueryInterface(plugIn, CFUUIDGetUUIDBytes(kIOHIDDeviceInterfaceID), &interface); });
    _deviceInterface = static_cast<IOHIDDeviceInterface122**>(interface);
    IODestroyPlugInInterface(plugIn);
    failure.rethrow();
}

void _QrxHIDDeviceConnectionImpl::_openDeviceInterface()
{
    if (_deviceInterface == nullptr) {
        return;
    }
    _result = (*_deviceInterface)->open(_deviceInterface, 0);
    if (_result != 0) {
        return;
    }
    _isOpened = true;
    try {
        _initReportsQueue();
    } catch (...) {
        // A connection that is open without input would stay so: the next call would find a queue and set up nothing.
        _closeDeviceInterface();
        throw;
    }
}

void _QrxHIDDeviceConnectionImpl::_closeDeviceInterface()
{
    if (_deviceInterface != nullptr) {
        // Input is stopped first. The interrupt report callback cannot be cancelled by itself: closing ends it.
        _freeReportsQueue();
        _isOpened = false;
        (*_deviceInterface)->close(_deviceInterface);
    }
}

void _QrxHIDDeviceConnectionImpl::_freeDeviceInterface()
{
    if (_deviceInterface != nullptr) {
        _isOpened = false;
        (*_deviceInterface)->close(_deviceInterface);
        // Closing a device interface that is not open is harmless, so the state is not asked for.
        (*_deviceInterface)->Release(_deviceInterface);
        _deviceInterface = nullptr;
    }
}

void _QrxHIDDeviceConnectionImpl::_initReportsQueue()
{
    if (_deviceInterface == nullptr || _queue != nullptr) {
        return;
    }
    if (systemVersion() <= kLastSystemWithoutReportQueues || !_startQueue()) {
        _startInterruptReports();
    }
}

/// False when the driver lists no input report elements, so that a queue would stay empty.
bool _QrxHIDDeviceConnectionImpl::_startQueue()
{
    const CFTypeRef elements =
        IORegistryEntryCreateCFProperty(_entry, CFSTR("InputReportElements"), kCFAllocatorDefault, 0);
    if (elements == nullptr || CFGetTypeID(elements) != CFArrayGetTypeID()) {
        // Deliberate: what is there, but no array, is not released.
        return false;
    }
    try {
        _queue = (*_deviceInterface)->allocQueue(_deviceInterface);
        if (_queue == nullptr || (*_queue)->create(_queue, 0, kQueueDepth) != 0) {
            // Deliberate: no input, no second try by interrupt, and the array is not released.
            return true;
        }
        // A queue is empty of elements when it is created: it delivers only what is added here.
        _addReportElements(static_cast<CFArrayRef>(elements));
    } catch (...) {
        CFRelease(elements);
        throw;
    }
    CFRelease(elements);
    _runQueue();
    return true;
}

void _QrxHIDDeviceConnectionImpl::_addReportElements(CFArrayRef elements)
{
    const CFIndex count = CFArrayGetCount(elements);
    for (CFIndex index = 0; index < count; ++index) {
        const CFTypeRef element = CFArrayGetValueAtIndex(elements, index);
        if (CFGetTypeID(element) != CFDictionaryGetTypeID()) {
            continue;
        }
        // Deliberate: tested for its type only. An element without a cookie ends the process, as any null object does.
        const CFTypeRef number = CFDictionaryGetValue(static_cast<CFDictionaryRef>(element), CFSTR("ElementCookie"));
        if (CFGetTypeID(number) == CFNumberGetTypeID()) {
            int cookie = 0;
            CFNumberGetValue(static_cast<CFNumberRef>(number), kCFNumberIntType, &cookie);
            (*_queue)->addElement(_queue, platformCookie(cookie), 0);
        }
    }
}

void _QrxHIDDeviceConnectionImpl::_runQueue()
{
    // The order is the platform's: the source and the callout exist before the queue starts, or the first events would
    // find nobody.
    if ((*_queue)->createAsyncEventSource(_queue, &_runLoopSource) != 0) {
        return;
    }
    if ((*_queue)->setEventCallout(_queue, &ReportsQueueCallback, static_cast<QrxHIDDeviceConnection*>(this),
                                   nullptr) != 0) {
        return;
    }
    _attachSource();
    (*_queue)->start(_queue);
}

void _QrxHIDDeviceConnectionImpl::_startInterruptReports()
{
    // Deliberate: a second open sets all of this up again; the source and the buffer of the first one are not freed.
    if ((*_deviceInterface)->createAsyncEventSource(_deviceInterface, &_runLoopSource) != 0) {
        return;
    }
    _attachSource();
    const unsigned int size = _getMaxInputReportSize();
    _reportBuffer = std::malloc(size);
    if (_reportBuffer != nullptr) {
        std::memset(_reportBuffer, 0, size);
    } else if (size != 0) {
        throw std::bad_alloc();
    }
    (*_deviceInterface)
        ->setInterruptReportHandlerCallback(_deviceInterface, _reportBuffer, size, &ReportHandlerCallback,
                                            static_cast<QrxHIDDeviceConnection*>(this), nullptr);
}

void _QrxHIDDeviceConnectionImpl::_attachSource()
{
    try {
        CFRunLoopAddSource(CFRunLoopGetCurrent(), _runLoopSource, kCFRunLoopDefaultMode);
    } catch (...) {
        // It is in no loop.
        CFRelease(_runLoopSource);
        _runLoopSource = nullptr;
        throw;
    }
}

void _QrxHIDDeviceConnectionImpl::_freeReportsQueue()
{
    if (_queue != nullptr) {
        (*_queue)->stop(_queue);
    }
    if (_runLoopSource != nullptr) {
        // Closing belongs on the thread that opened: the source is looked for in the current thread's loop only.
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), _runLoopSource, kCFRunLoopDefaultMode);
        CFRelease(_runLoopSource);
        _runLoopSource = nullptr;
    }
    if (_queue != nullptr) {
        // The source goes before the queue that it belongs to, so that no callout can come in between.
        (*_queue)->dispose(_queue);
        (*_queue)->Release(_queue);
        _queue = nullptr;
    }
    if (_reportBuffer != nullptr) {
        std::free(_reportBuffer);
        _reportBuffer = nullptr;
    }
}

unsigned int _QrxHIDDeviceConnectionImpl::_getMaxInputReportSize()
{
    const CFTypeRef size = IORegistryEntryCreateCFProperty(_entry, CFSTR("MaxInputReportSize"), kCFAllocatorDefault, 0);
    if (size == nullptr) {
        return 0;
    }
    // Deliberate: taken for a number without a test, and never released: one number stays allocated for each call.
    int bytes = 0;
    CFNumberGetValue(static_cast<CFNumberRef>(size), kCFNumberIntType, &bytes);
    return static_cast<unsigned int>(bytes);
}

inline void _QrxHIDDeviceConnectionImpl::_deliver(const void* bytes, std::size_t count)
{
    // The fast path: every object on the way is of the library's own class, with nothing overridden. Then the report
    // goes straight to the delegate, which is where handleReport and the device's _handleReport would take it, without
    // being moved from array to array. Step by step the library spends 1,838 instructions on a report instead of 413.
    const auto* interface = exactly<_QrxHIDInterfaceMac>(_parent);
    auto* device = interface != nullptr ? exactly<_QrxHIDDeviceImpl>(interface->_borrowedParent()) : nullptr;
    auto* delegate = device != nullptr ? device->_borrowedDelegate() : nullptr;
    if (delegate == nullptr || !isExactly<_QrxHIDDeviceConnectionImpl>(*this)) {
        _deliverStepByStep(bytesAt(bytes, count));
        return;
    }
    // Holding the device keeps its interface and this connection alive: parents hold their children.
    tellDelegate<_QrxHIDDeviceImpl::ReportHold>(
        *device, *delegate, [bytes, count] { return bytesAt(bytes, count); },
        interface->_QrxHIDInterfaceMac::getInterfaceNumber());
}

[[gnu::noinline]] void _QrxHIDDeviceConnectionImpl::_deliverStepByStep(std::valarray<uint8_t>&& report)
{
    const SelfHold self(*this);
    int interfaceNumber = 0;
    if (const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface()) {
        interfaceNumber = interface->getInterfaceNumber();
    }
    // A virtual call: an application's own connection class sees every report here.
    handleReport(std::move(report), interfaceNumber);
}

void _QrxHIDDeviceConnectionImpl::_reportHandler(IOHIDDeviceInterface122** sender, unsigned long bufferSize)
{
    if (sender == nullptr || *sender == nullptr) {
        return;
    }
    if (_reportBuffer == nullptr && bufferSize != 0) {
        return; // input was stopped while this report was under way
    }
    // `_deliver` copies the bytes: the platform uses the buffer again, and a receiver that closes frees it.
    _deliver(_reportBuffer, bufferSize);
}

void _QrxHIDDeviceConnectionImpl::_reportQueueHandler(IOHIDQueueInterface** queue)
{
    if (queue == nullptr || *queue == nullptr) {
        return;
    }
    const SelfHold self(*this);
    // The receiver of a report may close the connection, which releases its queue: that one must not be read any more.
    // A queue that is not the connection's (the operation is public) is read to its end. The receiver may also throw:
    // the platform calls again only after the queue was emptied, so the rest is delivered first.
    const bool isOwnQueue = queue == _queue;
    FirstException failure;
    while (!isOwnQueue || queue == _queue) {
        IOHIDEventStruct event{};
        if ((*queue)->getNextEvent(queue, &event, AbsoluteTime{}, 0) != 0) {
            break;
        }
        // The block belongs to the receiver of the event from here on, and is freed whatever the delivery does.
        const std::unique_ptr<void, FreeBlock> block(event.longValueSize != 0 ? event.longValue : nullptr);
        failure.watch([&] { _deliverEvent(event); });
    }
    failure.rethrow();
}

void _QrxHIDDeviceConnectionImpl::_deliverEvent(const IOHIDEventStruct& event)
{
    if (event.longValueSize > kValueBytes) {
        if (event.longValue != nullptr) {
            _deliver(event.longValue, event.longValueSize);
        }
        return;
    }
    // The event does not say how many of the four bytes belong to the report; the size of its element does. Without
    // one, all four are delivered rather than none.
    const auto sizeBits = static_cast<std::int32_t>(_getReportSizeByCookie(cookieNumber(event.elementCookie)));
    const std::size_t length = sizeBits > 0 ? (static_cast<std::size_t>(sizeBits) + 7) / 8 : kValueBytes;
    const std::valarray<uint8_t> bytes = littleEndianBytes(static_cast<std::uint32_t>(event.value), length);
    _deliver(&bytes[0], bytes.size());
}

void _QrxHIDDeviceConnectionImpl::_tellPossibleLoss(std::uint64_t count)
{
    const mis::swizzler<_QrxHIDInterfaceMac> interface = _getInterface();
    const mis::swizzler<QrxHIDDevice> device = getDevice();
    if (QrxHIDDeviceEventInterface* listener = device ? device->_getEventListener() : nullptr) {
        listener->inputMayBeLost(device, interface ? interface->getInterfaceNumber() : 0, count);
    }
}

const __CFDictionary* _QrxHIDDeviceConnectionImpl::_findReportProperties(unsigned int reportID)
{
    return properties::entryWithNumber(_properties, CFSTR("InputReportElements"), CFSTR("ReportID"), reportID);
}

unsigned int _QrxHIDDeviceConnectionImpl::__getReportSizeByReportID(unsigned int reportID)
{
    if (_findReportProperties(reportID) == nullptr) {
        return 0;
    }
    // Deliberate: the size at the top level of the properties; the element only tells that the report ID exists.
    return properties::bits(_properties, CFSTR("ReportSize"));
}

unsigned int _QrxHIDDeviceConnectionImpl::_getReportSizeByCookie(unsigned int cookie)
{
    const CFDictionaryRef element =
        properties::entryWithNumber(_properties, CFSTR("InputReportElements"), CFSTR("ElementCookie"), cookie);
    return properties::bits(element, CFSTR("ReportSize"));
}

uint32_t _QrxHIDDeviceConnectionImpl::getPrimaryUsagePage() const
{
    return properties::bits(_properties, CFSTR("PrimaryUsagePage"));
}

uint32_t _QrxHIDDeviceConnectionImpl::getPrimaryUsage() const
{
    return properties::bits(_properties, CFSTR("PrimaryUsage"));
}

uint32_t _QrxHIDDeviceConnectionImpl::getInputReportSize() const
{
    return properties::bits(_properties, CFSTR("MaxInputReportSize"));
}

uint32_t _QrxHIDDeviceConnectionImpl::getOutputReportSize() const
{
    return properties::bits(_properties, CFSTR("MaxOutputReportSize"));
}

uint32_t _QrxHIDDeviceConnectionImpl::getFeatureReportSize() const
{
    return properties::bits(_properties, CFSTR("MaxFeatureReportSize"));
}
