#pragma once

#include "QrxDeviceTree.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxReportDecoder.h"
#include "QrxVirtualDevice.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using Bytes = std::vector<std::uint8_t>;

inline constexpr unsigned int kInput = 0;
inline constexpr unsigned int kOutput = 1;
inline constexpr unsigned int kFeature = 2;

/// A device with these descriptors on interfaces 0, 1, ..., as the tree shows it.
class Decoding : public testing::Test {
protected:
    void plug(const std::vector<Bytes>& descriptors)
    {
        QrxVirtualDevice::setRealDevicesEnabled(false);
        std::vector<QrxVirtualInterface> interfaces;
        for (const Bytes& descriptor : descriptors) {
            interfaces.push_back({static_cast<int>(interfaces.size()), descriptor});
        }
        _plugged.emplace_back(QrxVirtualIdentity(0x1209, 0x0009), interfaces);
        _plugged.back().plug();
        _tree = QrxDeviceTree::NewInstance();
        _tree->setDelegate(&_quiet);
        _tree->populate(0x1209, 0x0009);
        ASSERT_EQ(1U, _tree->getHIDDeviceCount());
        device = _tree->getDeviceAtIndex(0);
    }

    static std::string number(const QrxDecodedValue& value)
    {
        return value.isSigned() ? std::to_string(value.getValue()) : std::to_string(value.getUnsignedValue());
    }

    /// "page/usage=value @first bit+width", a "*" for what an array shows; one line a value.
    std::string decode(const Bytes& bytes, unsigned int type = kInput, int interfaceNumber = 0) const
    {
        std::ostringstream text;
        for (const QrxDecodedValue& value :
             QrxDecodeReport(*device, type, bytes.data(), bytes.size(), interfaceNumber)) {
            text << std::hex << value.getUsagePage() << "/" << value.getUsage() << std::dec << "=" << number(value)
                 << " @" << value.getBitOffset() << "+" << value.getSizeBits() << (value.isArraySelection() ? "*" : "")
                 << "\n";
        }
        return text.str();
    }

    mis::swizzler<QrxHIDDevice> device;

private:
    struct Quiet : QrxDeviceTreeDelegateInterface {
        void deviceAdded(mis::swizzler<QrxHIDDevice>) override {}
    };

    Quiet _quiet;
    std::vector<QrxVirtualDevice> _plugged;
    mis::swizzler<QrxDeviceTree> _tree;
};

/// A report descriptor: these items in an application collection of a vendor's page.
inline Bytes vendor(const Bytes& items)
{
    Bytes descriptor = {0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01};
    std::ranges::copy(items, std::back_inserter(descriptor));
    descriptor.push_back(0xC0);
    return descriptor;
}
