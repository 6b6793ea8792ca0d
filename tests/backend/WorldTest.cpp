#include "WorldTest.h"

world::DeviceDescription WorldTest::description(int vendorID, int productID, std::vector<world::Sample> samples)
{
    world::DeviceDescription description;
    description.vendorID = static_cast<std::uint16_t>(vendorID);
    description.productID = static_cast<std::uint16_t>(productID);
    description.releaseNumber = 0x0102;
    description.vendorName = "Acme";
    description.productName = "Widget";
    for (const world::Sample sample : samples) {
        world::InterfaceDescription interface;
        interface.number = static_cast<int>(description.interfaces.size());
        interface.sample = sample;
        description.interfaces.push_back(interface);
    }
    return description;
}

std::string joined(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line + "\n";
    }
    return text;
}
