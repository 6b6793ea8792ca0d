#include "RecordingSink.h"

#include <algorithm>
#include <iomanip>
#include <sstream>
#include <stdexcept>
#include <utility>

namespace qrx::platform::test {

namespace {

std::string quoted(const std::optional<std::string>& text)
{
    return text ? "\"" + *text + "\"" : "none";
}

std::string hex(unsigned long value, int width)
{
    std::ostringstream text;
    text << std::hex << std::setfill('0') << std::setw(width) << value;
    return text.str();
}

} // namespace

DeviceKey RecordingSink::publish(DeviceFacts device)
{
    const auto hidInterfaces = std::count_if(device.interfaces.begin(), device.interfaces.end(),
                                             [](const InterfaceFacts& one) { return one.hid != nullptr; });
    _log += "+ " + device.place + " hid " + std::to_string(hidInterfaces) + "\n";
    _devices.emplace(++_last, std::move(device));
    return _last;
}

void RecordingSink::terminate(DeviceKey device)
{
    const auto found = _devices.find(device);
    if (found == _devices.end()) {
        throw std::logic_error("terminated although not published: " + std::to_string(device));
    }
    _log += "- " + found->second.place + "\n";
    _devices.erase(found);
}

std::string RecordingSink::takeLog()
{
    return std::exchange(_log, {});
}

const DeviceFacts& RecordingSink::at(const std::string& place) const
{
    const DeviceFacts* found = nullptr;
    for (const auto& [key, facts] : _devices) {
        if (facts.place == place) {
            if (found != nullptr) {
                throw std::logic_error("twice there: " + place);
            }
            found = &facts;
        }
    }
    if (found == nullptr) {
        throw std::logic_error("not there: " + place);
    }
    return *found;
}

std::string describe(const DeviceFacts& facts)
{
    std::ostringstream text;
    text << facts.place << " " << hex(facts.vendorID, 4) << ":" << hex(facts.productID, 4) << " release "
         << hex(facts.releaseNumber, 4) << " class " << +facts.deviceClass << "/" << +facts.deviceSubclass << "/"
         << +facts.deviceProtocol << " packet " << +facts.maxPacketSize0 << " configuration "
         << +facts.configurationValue << " of " << +facts.configurationCount << " vendor " << quoted(facts.vendorName)
         << " product " << quoted(facts.productName) << " serial " << quoted(facts.serialNumber) << " location "
         << hex(facts.locationID, 8) << " port " << +facts.portNumber << " address " << facts.address << " speed "
         << +facts.speed << "\n";
    for (const InterfaceFacts& one : facts.interfaces) {
        text << "  " << +one.number << " setting " << +one.alternateSetting << " endpoints " << +one.endpointCount
             << " class " << +one.interfaceClass << "/" << +one.interfaceSubclass << "/" << +one.interfaceProtocol
             << " name " << quoted(one.name) << " hid " << (one.hid != nullptr ? "yes" : "no") << " descriptor "
             << one.reportDescriptor.size() << " country "
             << (one.countryCode ? std::to_string(*one.countryCode) : "none") << "\n";
    }
    return text.str();
}

} // namespace qrx::platform::test
