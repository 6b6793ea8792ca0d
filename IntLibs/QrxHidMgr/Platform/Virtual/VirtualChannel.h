#pragma once

#include "Provider/Provider.h"

#include <cstdint>
#include <memory>

namespace qrx::platform {

class ReportQueue;
class VirtualUsbDevice;

/// A HID interface of a virtual device for one plug-in period.
class VirtualPort final : public HIDPort {
public:
    VirtualPort(std::shared_ptr<VirtualUsbDevice> device, std::uint64_t plugging, int interfaceNumber);
    Status open(std::unique_ptr<HIDChannel>& channel) override;

private:
    std::shared_ptr<VirtualUsbDevice> _device;
    std::uint64_t _plugging;
    int _interfaceNumber;
};

/// An open way to a virtual HID interface.
class VirtualChannel final : public HIDChannel {
public:
    VirtualChannel(std::shared_ptr<VirtualUsbDevice> device, std::uint64_t plugging, int interfaceNumber,
                   std::shared_ptr<ReportQueue> queue);
    ~VirtualChannel() override;

    int descriptor() const override;
    Next takeReport(std::span<const std::uint8_t>& report) override;
    bool hasFetchedReports() const override;
    Status setReport(ReportType type, std::uint32_t reportID, std::span<const std::uint8_t> bytes) override;
    Status getReport(ReportType type, std::uint32_t reportID, std::span<std::uint8_t> buffer,
                     std::size_t& size) override;
    std::uint64_t possibleLosses() const override;

private:
    std::shared_ptr<VirtualUsbDevice> _device;
    std::uint64_t _plugging;
    int _interfaceNumber;
    std::shared_ptr<ReportQueue> _queue;
};

} // namespace qrx::platform
