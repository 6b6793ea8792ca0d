#include "doctor/UdevRule.h"

#include "text/TextFormat.h"

namespace qrxhid {

namespace {

/// As the kernel writes bInterfaceNumber: two digits in lower case.
std::string interfaceDigits(int number)
{
    return hexText(static_cast<std::uint32_t>(number), 2).substr(2);
}

std::string idMatches(const DeviceIdentity& device)
{
    const std::string ids = device.text();
    return R"(KERNEL=="hidraw*", ATTRS{idVendor}==")" + ids.substr(0, 4) + R"(", ATTRS{idProduct}==")" + ids.substr(5) +
           "\"";
}

constexpr const char* kTag = R"(TAG+="uaccess")";

constexpr const char* kWhyOneLine =
    R"(# The node has no IDs itself, the USB device above it has: hence ATTRS. The digits are in lower case, as the kernel
# writes them.
)";

constexpr const char* kWhyTwoLines =
    R"(# All ATTRS of one line must be found on the same device above the node. The IDs are those of the USB device, and the
# interface's number stands below it, on the interface: hence two lines. What the first one notes for the second (its
# name begins with a dot) is seen by nobody else. The digits are in lower case, as the kernel writes them.
)";

} // namespace

std::string UdevRule::fileName() const
{
    // Before 73, see kTagIsActedUpon of RuleSearch.cpp, and after 50-udev-default.rules, which sets modes.
    std::string name = "70-qrxhid-" + device.text();
    name[name.find(':')] = '-';
    return name + (interfaceNumber ? "-" + std::to_string(*interfaceNumber) : "") + ".rules";
}

std::string UdevRule::command() const
{
    return "qrxhid rule " + device.text() + (interfaceNumber ? " --interface " + std::to_string(*interfaceNumber) : "");
}

std::string UdevRule::lines() const
{
    if (!interfaceNumber) {
        return idMatches(device) + ", " + kTag + "\n";
    }
    // Named after the device, so that rules for two devices do not take each other's notes.
    const std::string note = R"(ENV{.qrxhid_device})";
    return idMatches(device) + ", " + note + "=\"" + device.text() + "\"\n" + R"(KERNEL=="hidraw*", )" + note + "==\"" +
           device.text() + R"(", ATTRS{bInterfaceNumber}==")" + interfaceDigits(*interfaceNumber) + "\", " + kTag +
           "\n";
}

std::string UdevRule::text() const
{
    const std::string what = (interfaceNumber ? "interface " + std::to_string(*interfaceNumber) + " of " : "") +
                             ("the HID device ") + device.text();
    return "# Lets whoever sits at this machine use " + what + ", and nothing else.\n# Made by: " + command() +
           "\n#\n# Install it as /etc/udev/rules.d/" + fileName() +
           "; the name must sort before 73, where udev acts on the tag.\n"
           "# Then, without a restart:\n#   " +
           kReloadRules + "\n#   " + kTriggerRules + "\n#\n" + (interfaceNumber ? kWhyTwoLines : kWhyOneLine) + lines();
}

} // namespace qrxhid
