// The functions of hidapi. Each does what its documentation says; what differs is in docs/hidapi.md. Callers are C
// programs and bindings of other languages, so nothing throws past here: an exception becomes the function's value for
// failure, and a text for hid_error.

#include "DeviceInfo.h"
#include "ErrorText.h"
#include "LaterFunctions.h"
#include "Machine.h"
#include "OpenDevice.h"
#include "WideText.h"
#include "qrx_hidapi.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <exception>
#include <new>
#include <string>

using qrx::hidapi::ListedInterface;
using qrx::hidapi::Machine;
using qrx::hidapi::OpenDevice;
using qrx::hidapi::setGlobalError;
using qrx::hidapi::textOf;
using qrx::hidapi::wideText;
using qrx::platform::ReportType;
using qrx::platform::Status;

/// What a program holds. hidapi's header declares the structure and leaves its contents to the library.
struct hid_device_ final : OpenDevice {
    using OpenDevice::OpenDevice;
};

namespace {

/// The version whose interface is here as a whole. Two functions of 0.15 are here as well.
constexpr hid_api_version kVersion{0, 14, 0};
constexpr const char* kVersionText = "0.14.0";
constexpr const wchar_t* kNoDevice = L"The device is NULL";
constexpr const wchar_t* kNoBuffer = L"Zero buffer/length";

/// Runs what concerns no open device; an exception becomes the global error. The error before is cleared first, since
/// hid_error tells of the last call.
template <typename Result, typename Body>
Result guarded(Result failure, Body body) noexcept
{
    qrx::hidapi::clearGlobalError();
    try {
        return body();
    } catch (const std::bad_alloc&) {
        try {
            setGlobalError(textOf(Status::noMemory));
        } catch (const std::bad_alloc&) {
            // There is no memory for the text either. The returned value tells of the failure, hid_error does not.
        }
    } catch (const std::exception& error) {
        try {
            setGlobalError(wideText(error.what()));
        } catch (const std::bad_alloc&) {
            // As above.
        }
    }
    return failure;
}

/// Runs what concerns an open device. The texts of its errors are constants: they take no memory, and stay valid while
/// another thread's call on the same device fails.
template <typename Body>
int guardedFor(hid_device* device, Body body) noexcept
{
    if (device == nullptr) {
        return guarded(-1, [] {
            setGlobalError(kNoDevice);
            return -1;
        });
    }
    device->clearError();
    try {
        return body();
    } catch (const std::bad_alloc&) {
        return device->fail(textOf(Status::noMemory));
    } catch (const std::exception&) {
        return device->fail(textOf(Status::error));
    }
}

hid_device* open(Machine& machine, const std::shared_ptr<const ListedInterface>& listed)
{
    std::unique_ptr<qrx::platform::HIDChannel> channel;
    const Status status = listed->facts->hid->open(channel);
    if (status != Status::success) {
        setGlobalError(wideText(listed->path) + L": " + textOf(status));
        return nullptr;
    }
    auto device = std::make_unique<hid_device>(listed, std::move(channel));
    // Not before the device can be read: a recording begins to send now.
    machine.noticeOpened();
    return device.release();
}

std::wstring nameOf(unsigned short vendorID, unsigned short productID, const wchar_t* serialNumber)
{
    std::array<char, sizeof "0000:0000"> ids;
    std::snprintf(ids.data(), ids.size(), "%04hx:%04hx", vendorID, productID);
    std::wstring name = L"device " + wideText(ids.data());
    return serialNumber != nullptr ? name + L" with serial number " + serialNumber : name;
}

/// Copies a string of the device; an absent one is empty. What the device said at its arrival is kept, so this makes no
/// request and answers after an unplug as well.
int copyString(hid_device* device, wchar_t* hid_device_info::*which, wchar_t* text, size_t size) noexcept
{
    return guardedFor(device, [&] {
        if (text == nullptr || size == 0) {
            return device->fail(kNoBuffer);
        }
        const wchar_t* const found = device->info()->*which;
        qrx::hidapi::copyText(found != nullptr ? found : L"", text, size);
        return 0;
    });
}

int send(hid_device* device, ReportType type, const unsigned char* data, size_t length) noexcept
{
    return guardedFor(device, [&] {
        return data == nullptr || length == 0 ? device->fail(kNoBuffer) : device->write(type, {data, length});
    });
}

int ask(hid_device* device, ReportType type, unsigned char* data, size_t length) noexcept
{
    return guardedFor(device, [&] {
        return data == nullptr || length == 0 ? device->fail(kNoBuffer) : device->get(type, {data, length});
    });
}

} // namespace

extern "C" {

// As in hidapi, a program need not call it: whatever needs the machine makes it.
int hid_init(void)
{
    return guarded(-1, [] {
        Machine::get();
        return 0;
    });
}

int hid_exit(void)
{
    return guarded(-1, [] {
        Machine::end();
        return 0;
    });
}

hid_device_info* hid_enumerate(unsigned short vendor_id, unsigned short product_id)
{
    return guarded<hid_device_info*>(nullptr, [&] {
        const auto machine = Machine::get();
        const auto interfaces = machine->interfaces();
        // After the look, which is what finds changes, so that the callback and the list tell of the same devices.
        machine->tellChanges();
        auto list = qrx::hidapi::makeInfoList(interfaces, vendor_id, product_id);
        if (list == nullptr) {
            // NULL stands for an empty list and for a failure; the text tells which it is.
            setGlobalError(vendor_id == 0 && product_id == 0
                               ? L"No HID devices found in the system."
                               : L"No HID devices with requested VID/PID found in the system.");
        }
        return list.release();
    });
}

void hid_free_enumeration(hid_device_info* devs)
{
    qrx::hidapi::freeInfoList(devs);
}

hid_device* hid_open(unsigned short vendor_id, unsigned short product_id, const wchar_t* serial_number)
{
    return guarded<hid_device*>(nullptr, [&]() -> hid_device* {
        const auto machine = Machine::get();
        // The IDs must be equal: 0 is no wildcard here, unlike in hid_enumerate.
        for (const auto& listed : machine->interfaces()) {
            const auto& device = *listed->device;
            if (device.vendorID == vendor_id && device.productID == product_id &&
                (serial_number == nullptr || wideText(device.serialNumber.value_or("")) == serial_number)) {
                // As in hidapi, the first match decides: if it cannot be opened, no other is tried.
                return open(*machine, listed);
            }
        }
        setGlobalError(L"There is no " + nameOf(vendor_id, product_id, serial_number));
        return nullptr;
    });
}

hid_device* hid_open_path(const char* path)
{
    return guarded<hid_device*>(nullptr, [&]() -> hid_device* {
        if (path == nullptr) {
            setGlobalError(L"The path is NULL");
            return nullptr;
        }
        const auto machine = Machine::get();
        const auto listed = machine->find(path);
        if (listed == nullptr) {
            setGlobalError(wideText(path) + L": there is no USB HID device at this path");
            return nullptr;
        }
        return open(*machine, listed);
    });
}

int hid_write(hid_device* dev, const unsigned char* data, size_t length)
{
    return send(dev, ReportType::output, data, length);
}

// Deliberate: the same as hid_write. The kernel sends output to the interrupt endpoint if the interface has one, else
// by a control transfer; a channel offers no choice between them.
int hid_send_output_report(hid_device* dev, const unsigned char* data, size_t length)
{
    return send(dev, ReportType::output, data, length);
}

int hid_send_feature_report(hid_device* dev, const unsigned char* data, size_t length)
{
    return send(dev, ReportType::feature, data, length);
}

int hid_get_feature_report(hid_device* dev, unsigned char* data, size_t length)
{
    return ask(dev, ReportType::feature, data, length);
}

int hid_get_input_report(hid_device* dev, unsigned char* data, size_t length)
{
    return ask(dev, ReportType::input, data, length);
}

int hid_read_timeout(hid_device* dev, unsigned char* data, size_t length, int milliseconds)
{
    return guardedFor(dev, [&] {
        return data == nullptr && length != 0 ? dev->fail(kNoBuffer) : dev->read({data, length}, milliseconds);
    });
}

int hid_read(hid_device* dev, unsigned char* data, size_t length)
{
    return hid_read_timeout(dev, data, length, dev != nullptr && dev->isBlocking() ? -1 : 0);
}

int hid_set_nonblocking(hid_device* dev, int nonblock)
{
    return guardedFor(dev, [&] {
        dev->setBlocking(nonblock == 0);
        return 0;
    });
}

void hid_close(hid_device* dev)
{
    // NULL is no error. Other threads' calls on the device end first (~OpenDevice).
    delete dev;
}

int hid_get_manufacturer_string(hid_device* dev, wchar_t* string, size_t maxlen)
{
    return copyString(dev, &hid_device_info::manufacturer_string, string, maxlen);
}

int hid_get_product_string(hid_device* dev, wchar_t* string, size_t maxlen)
{
    return copyString(dev, &hid_device_info::product_string, string, maxlen);
}

int hid_get_serial_number_string(hid_device* dev, wchar_t* string, size_t maxlen)
{
    return copyString(dev, &hid_device_info::serial_number, string, maxlen);
}

int hid_get_indexed_string(hid_device* dev, int, wchar_t*, size_t)
{
    // The kernel does not hand out strings by their number while its HID driver has the interface.
    return guardedFor(dev, [&] { return dev->fail(L"hid_get_indexed_string: not supported by hidraw"); });
}

hid_device_info* hid_get_device_info(hid_device* dev)
{
    hid_device_info* info = nullptr;
    guardedFor(dev, [&] {
        info = dev->info();
        return 0;
    });
    return info;
}

int hid_get_report_descriptor(hid_device* dev, unsigned char* buf, size_t buf_size)
{
    return guardedFor(dev, [&] {
        if (buf == nullptr) {
            return dev->fail(kNoBuffer);
        }
        // Kept since the arrival, so it takes no request. As in hidapi, one that is longer than the buffer is cut.
        const auto& descriptor = dev->interface().facts->reportDescriptor;
        const std::size_t size = std::min(descriptor.size(), buf_size);
        std::copy_n(descriptor.begin(), size, buf);
        return static_cast<int>(size);
    });
}

const wchar_t* hid_error(hid_device* dev)
{
    return dev != nullptr ? dev->error() : qrx::hidapi::globalError();
}

const wchar_t* hid_read_error(hid_device* dev)
{
    return dev != nullptr ? dev->readError() : L"Device is NULL";
}

const hid_api_version* hid_version(void)
{
    return &kVersion;
}

const char* hid_version_str(void)
{
    return kVersionText;
}

int qrx_hid_descriptor(hid_device* device)
{
    return guardedFor(device, [&] { return device->descriptor(); });
}

int qrx_hid_set_callback(qrx_hid_callback callback, void* context)
{
    return guarded(-1, [&] { return Machine::get()->setCallback(callback, context); });
}

} // extern "C"
