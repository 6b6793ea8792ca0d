#include "DeviceAccess.h"

#include "Base/Log.h"
#include "KernelLimits.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <system_error>

namespace qrx::platform {

namespace {

std::string hexWord(std::uint16_t value)
{
    std::array<char, 8> text{};
    std::snprintf(text.data(), text.size(), "%04x", static_cast<unsigned>(value));
    return text.data();
}

std::string describe(const DeviceFacts& facts)
{
    const std::string_view quote = facts.productName ? "\"" : "";
    return joined({hexWord(facts.vendorID), ":", hexWord(facts.productID), facts.productName ? " " : "", quote,
                   facts.productName ? *facts.productName : std::string_view(), quote, " at ", facts.place});
}

/// With lower-case digits, because udev compares with the text of the attribute. Only the IDs are part of the rule: a
/// device's names must not be able to write one.
std::string uaccessRule(const DeviceFacts& facts)
{
    return joined({R"(KERNEL=="hidraw*", ATTRS{idVendor}==")", hexWord(facts.vendorID), R"(", ATTRS{idProduct}==")",
                   hexWord(facts.productID), R"(", TAG+="uaccess")"});
}

} // namespace

DeviceAccess::DeviceAccess(const DeviceFacts& facts) : _device(describe(facts)), _rule(uaccessRule(facts)) {}

void DeviceAccess::tellRefusal(const std::string& node, int error)
{
    // The level is asked first: a line that is not shown must not count as the first one.
    if (!logs(LogLevel::error) || !isFirst()) {
        return;
    }
    std::string text = failure(node, error);
    // The two refusals that a person can act on: permissions of the node, and a sandbox around the program.
    if (error == EACCES) {
        text += " This line in a file of /etc/udev/rules.d whose name sorts before 73 lets whoever sits at the machine "
                "use it: " +
                _rule;
    } else if (error == EPERM) {
        text += " The container or sandbox does not let this program use the device.";
    }
    log(LogLevel::error, text);
}

void DeviceAccess::tellScarcity(const std::string& node, int error) const
{
    if (logs(LogLevel::error)) {
        log(LogLevel::error, failure(node, error));
    }
}

std::string DeviceAccess::failure(const std::string& node, int error) const
{
    return joined({node, " of ", _device, " cannot be opened: ", std::generic_category().message(error), "."});
}

void DeviceAccess::tellMissingNode(unsigned interfaceNumber)
{
    if (logs(LogLevel::error) && isFirst()) {
        log(LogLevel::error, joined({"Interface ", std::to_string(interfaceNumber), " of ", _device,
                                     " has no report node: the kernel has 64 of them, and some drivers make none."}));
    }
}

void DeviceAccess::tellPossibleLoss(unsigned interfaceNumber, std::uint64_t count) const
{
    if (logs(LogLevel::info)) {
        log(LogLevel::info,
            joined({"The kernel's queue of ", std::to_string(kRingReports), " reports for interface ",
                    std::to_string(interfaceNumber), " of ", _device, " was full: reports may have been lost (",
                    std::to_string(count), count == 1 ? " time" : " times", " so far)"}));
    }
}

} // namespace qrx::platform
