#pragma once

#include "devices/DeviceSession.h"

#include "QrxHIDDeviceDelegateInterface.h"

#include <cstdint>
#include <functional>
#include <utility>
#include <valarray>
#include <vector>

namespace qrxhid {

/// A delegate that hands input reports on as vectors. The device that it is given to owns it.
class InputListener : public QrxHIDDeviceDelegateInterface {
public:
    using Handler =
        std::function<void(QrxHIDDevice& device, const std::vector<std::uint8_t>& bytes, int interfaceNumber)>;

    explicit InputListener(Handler handler) : _handler(std::move(handler)) {}

    void handleReport(std::valarray<std::uint8_t> report, DeviceHandle device, int interfaceNumber) override
    {
        _handler(*device, std::vector<std::uint8_t>(std::begin(report), std::end(report)), interfaceNumber);
    }
    void handleSetReport(unsigned int, unsigned int, std::valarray<std::uint8_t>, DeviceHandle, int) override {}

private:
    Handler _handler;
};

} // namespace qrxhid
