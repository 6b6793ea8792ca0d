#include "RefusalLog.h"

#include "Base/Log.h"

#include <array>
#include <cstdio>
#include <string>
#include <string_view>

namespace qrx::iokit {

namespace {

const char* reasonOf(IOReturn result)
{
    // Reasons in the words of a person who uses the program; the numbers mean nothing to most.
    switch (static_cast<platform::Status>(result)) {
    case platform::Status::noMemory:
        return "there is no memory";
    case platform::Status::noResources:
        return "no file descriptor is free";
    case platform::Status::noDevice:
    case platform::Status::notAttached:
        return "the device has left";
    case platform::Status::notPrivileged:
    case platform::Status::notPermitted:
        return "the system does not permit it";
    case platform::Status::badArgument:
        return "the bytes are not such a report";
    case platform::Status::unsupported:
        return "the system cannot do it";
    case platform::Status::notOpen:
        return "the interface is not open";
    case platform::Status::timeout:
        return "the device did not answer in time";
    case platform::Status::pipeStalled:
        return "the device refused it";
    default:
        return "the transfer failed";
    }
}

void tell(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface, std::string_view what,
          IOReturn result)
{
    // IDs and place, no names: those are the device's own text.
    std::array<char, 16> ids{};
    std::snprintf(ids.data(), ids.size(), "%04x:%04x", device.vendorID, device.productID);
    log(platform::LogLevel::info,
        platform::joined({"device ", ids.data(), device.place.empty() ? "" : " at ", device.place, ", interface ",
                          std::to_string(interface.number), ": ", what, ": ", reasonOf(result)}));
}

} // namespace

// The level is asked first: nothing is put together for a line that nobody wants.
void tellRefusedOpen(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface, IOReturn result)
{
    if (platform::logs(platform::LogLevel::info)) {
        tell(device, interface, "not opened", result);
    }
}

void tellRefusedReport(const platform::DeviceFacts& device, const platform::InterfaceFacts& interface,
                       std::uint32_t type, std::uint32_t reportID, IOReturn result)
{
    if (platform::logs(platform::LogLevel::info)) {
        static constexpr std::array<const char*, 3> kTypes{"input", "output", "feature"};
        const char* name = type < kTypes.size() ? kTypes[type] : "unknown";
        tell(device, interface, platform::joined({name, " report ", std::to_string(reportID), " not sent"}), result);
    }
}

} // namespace qrx::iokit
