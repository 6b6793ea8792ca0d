#pragma once

/// The contract between the registry and whatever finds devices: the Linux kernel, or a program that makes them up.
///
/// A provider describes devices in plain facts and opens channels to their HID interfaces; it knows nothing of
/// registry entries, property objects or run loops. The registry (Platform/IOKit) turns the facts into entries and
/// does the rest, so a new provider is this page and nothing else.

#include "HID/ReportType.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qrx::platform {

/// Outcome of a request to a device. The numbers are the platform's result codes (IOReturn), so that they reach the
/// caller unchanged.
enum class Status : std::int32_t {
    success = 0,
    error = static_cast<std::int32_t>(0xe00002bc),
    noMemory = static_cast<std::int32_t>(0xe00002bd),
    noResources = static_cast<std::int32_t>(0xe00002be),
    noDevice = static_cast<std::int32_t>(0xe00002c0),
    notPrivileged = static_cast<std::int32_t>(0xe00002c1),
    badArgument = static_cast<std::int32_t>(0xe00002c2),
    unsupported = static_cast<std::int32_t>(0xe00002c7),
    ioError = static_cast<std::int32_t>(0xe00002ca),
    notOpen = static_cast<std::int32_t>(0xe00002cd),
    timeout = static_cast<std::int32_t>(0xe00002d6),
    notAttached = static_cast<std::int32_t>(0xe00002d9),
    notPermitted = static_cast<std::int32_t>(0xe00002e2),
    pipeStalled = static_cast<std::int32_t>(0xe000404f)
};

using hid::ReportType;

/// The class of a HID interface (USB HID 1.11, 4.1).
constexpr std::uint8_t kHIDClass = 3;

/// One open way to a HID interface. Every channel of an interface gets every input report. Input is taken by one thread
/// at a time; requests (setReport, getReport) may run on other threads meanwhile, also several at once. Destroying it
/// closes it, which may run foreign code (a virtual device's owner is told); nothing is called back afterwards.
class HIDChannel {
public:
    enum class Next {
        report, ///< one was given
        empty,  ///< none waits now
        gone    ///< the device has left and all that was queued has been taken; for good
    };

    HIDChannel() = default;
    HIDChannel(const HIDChannel&) = delete;
    HIDChannel& operator=(const HIDChannel&) = delete;
    virtual ~HIDChannel() = default;

    /// Readable (poll's POLLIN, POLLERR or POLLHUP) while takeReport has something to say. It stays the channel's, and
    /// the same number for the channel's whole life. -1: nothing will ever come.
    virtual int descriptor() const = 0;

    /// Takes the next input report without blocking. `report` begins with the report's number if the device numbers
    /// its reports, and is valid until the next call on this channel. Reports come in the order of their arrival; those
    /// queued at an unplug come before `gone`. May run foreign code, as setReport may (a virtual device's owner is told
    /// that there is room for more input).
    virtual Next takeReport(std::span<const std::uint8_t>& report) = 0;

    /// True after a report if another takeReport would most likely answer `empty`: nothing that was fetched is left,
    /// and the queue was seen or is expected to be empty. A caller that waits for the descriptor waits now and saves
    /// the call; one that cannot wait calls takeReport until `empty`. Not virtual, since it is asked after each report.
    bool isDescriptorNext() const { return _isDescriptorNext; }

    /// True while reports are held in memory that the descriptor does not announce any more, because they were fetched
    /// in one go. Whoever stops taking reports before `empty` asks this and must poll again without waiting for the
    /// descriptor.
    virtual bool hasFetchedReports() const = 0;

    /// Sends one report; returns when the device has taken or refused it. `bytes` are as the application gave them:
    /// those of a numbered report begin with `reportID`; those of an unnumbered one (`reportID` 0) are data from the
    /// first byte on. May run foreign code (a virtual device's owner), which may unplug the device or drop this
    /// channel's owner; whoever calls keeps the channel itself alive until the call returns.
    virtual Status setReport(ReportType type, std::uint32_t reportID, std::span<const std::uint8_t> bytes) = 0;

    /// Asks the device for a report. On success `size` is the number of bytes written to `buffer`, the number of a
    /// numbered report first. May run foreign code, as setReport may.
    virtual Status getReport(ReportType type, std::uint32_t reportID, std::span<std::uint8_t> buffer,
                             std::size_t& size) = 0;

    /// What may have been lost since this channel was opened: the reports, where the provider knows each one (virtual
    /// devices), else how often the queue behind the channel may have been full.
    virtual std::uint64_t possibleLosses() const { return 0; }

protected:
    /// For takeReport.
    void setDescriptorNext(bool isNext) { _isDescriptorNext = isNext; }

private:
    bool _isDescriptorNext = false;
};

/// Opens channels to one HID interface. Shared with the registry entry, so it may outlive the device; `open` then
/// answers notAttached.
class HIDPort {
public:
    HIDPort() = default;
    HIDPort(const HIDPort&) = delete;
    HIDPort& operator=(const HIDPort&) = delete;
    virtual ~HIDPort() = default;

    /// The node is opened only here. Failures that a person must act on are written to standard error: a refusal or a
    /// missing node once per device, a lack of descriptors or memory at each attempt.
    virtual Status open(std::unique_ptr<HIDChannel>& channel) = 0;

    /// The file that open opens; empty without one.
    virtual std::string nodePath() const { return {}; }
};

/// One interface of the active configuration.
struct InterfaceFacts {
    std::uint8_t number = 0;
    std::uint8_t alternateSetting = 0;
    std::uint8_t endpointCount = 0;
    /// kHIDClass, or another.
    std::uint8_t interfaceClass = 0;
    std::uint8_t interfaceSubclass = 0;
    std::uint8_t interfaceProtocol = 0;
    /// UTF-8.
    std::optional<std::string> name;
    /// Set where a HID driver is bound to the interface; the other HID facts have no meaning without it.
    std::shared_ptr<HIDPort> hid;
    std::vector<std::uint8_t> reportDescriptor;
    /// bCountryCode of the HID descriptor.
    std::optional<std::uint8_t> countryCode;
};

/// A USB device as it stands at its arrival. It does not change afterwards: a device that comes to differ leaves and
/// arrives anew.
struct DeviceFacts {
    std::uint16_t vendorID = 0;
    std::uint16_t productID = 0;
    /// bcdDevice.
    std::uint16_t releaseNumber = 0;
    std::uint8_t deviceClass = 0;
    std::uint8_t deviceSubclass = 0;
    std::uint8_t deviceProtocol = 0;
    std::uint8_t maxPacketSize0 = 0;
    std::uint8_t configurationCount = 1;
    /// bConfigurationValue of the active configuration.
    std::uint8_t configurationValue = 1;
    /// UTF-8; no value where the device has no such string.
    std::optional<std::string> vendorName;
    std::optional<std::string> productName;
    std::optional<std::string> serialNumber;
    /// Bus number in the top byte, then one nibble per hub port from bit 20 downwards.
    std::uint32_t locationID = 0;
    /// Hub port; 0 for none.
    std::uint8_t portNumber = 0;
    /// Address on the bus.
    std::uint16_t address = 0;
    /// 0 low, 1 full, 2 high, 3 super and above.
    std::uint8_t speed = 0;
    /// By ascending number.
    std::vector<InterfaceFacts> interfaces;
    /// How diagnoses name the device and its place: "1-2.1", "virtual-3". The same each time that the device arrives
    /// there.
    std::string place;
    /// Made up by a program.
    bool isVirtual = false;
};

/// Names a published device between a provider and the registry; never 0, never used twice.
using DeviceKey = std::uint64_t;

/// What a provider tells the registry. May be called from any thread; the registry calls no foreign code and nothing of
/// the provider from within.
class RegistrySink {
public:
    /// The device has arrived, whole. When this returns it is in the registry, and its arrival is queued for everybody
    /// who observes. After an exception (std::bad_alloc) it is not in the registry.
    virtual DeviceKey publish(DeviceFacts device) = 0;
    /// The device has left. Its key is invalid from now on.
    virtual void terminate(DeviceKey device) = 0;

protected:
    ~RegistrySink() = default;
};

/// A finder of devices that must be asked or watched. All calls come from threads that enumerate or observe, never two
/// at once.
class Provider {
public:
    Provider() = default;
    Provider(const Provider&) = delete;
    Provider& operator=(const Provider&) = delete;
    virtual ~Provider() = default;

    /// Makes the registry show what is there now. Called before each enumeration. While watching, this looks whether
    /// events wait and reads nothing anew otherwise.
    virtual void refresh(RegistrySink& sink) = 0;

    /// Somebody observes from now on. Returns a descriptor that is readable while handleEvents has work (an epoll set
    /// where several are watched), the provider's until stopWatching. -1 with errno if arrivals cannot be watched now:
    /// the provider has written this to standard error, and the caller may ask again.
    virtual int startWatching(RegistrySink& sink) = 0;
    /// Publishes and terminates what has arrived and left; called when the descriptor is readable. May throw
    /// std::bad_alloc, as refresh may: the provider then remembers that devices were not looked at, and makes up for it
    /// at a later call.
    virtual void handleEvents(RegistrySink& sink) = 0;
    /// Nobody observes any more. Also called where startWatching returned -1.
    virtual void stopWatching() = 0;
};

/// The providers that a process has from the start. Defined in Platform/Providers.cpp, the one place that
/// names them; called once, at the first enumeration or observation.
std::vector<std::unique_ptr<Provider>> makeProviders();

/// The process's registry, for providers that need not be asked (virtual devices publish themselves). Defined by
/// Platform/IOKit. Exported, as the next function is, for the library of virtual devices, which is made with this one.
[[gnu::visibility("default")]] RegistrySink& registry();

/// Leaves the providers out of every enumeration and observation from now on (their devices that are published stay),
/// or lets them in again. For programs that test themselves with virtual devices only.
[[gnu::visibility("default")]] void setProvidersEnabled(bool enabled);

} // namespace qrx::platform
