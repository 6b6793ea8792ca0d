#include "FuzzedDevice.h"

#include <algorithm>

namespace {

constexpr std::size_t kInterfaces = 2;
/// Below what a queue keeps, so that none is lost.
constexpr std::size_t kReports = 16;

std::span<const std::uint8_t> nextPart(std::span<const std::uint8_t>& rest)
{
    const std::size_t length = rest.size() < 2 ? 0 : rest[0] | std::size_t{rest[1]} << 8;
    rest = rest.subspan(std::min<std::size_t>(rest.size(), 2));
    const std::span<const std::uint8_t> part = rest.first(std::min(length, rest.size()));
    rest = rest.subspan(part.size());
    return part;
}

} // namespace

FuzzedDevice::FuzzedDevice(const std::uint8_t* data, std::size_t size)
{
    std::span<const std::uint8_t> rest(data, size);
    for (std::size_t i = 0; i < kInterfaces; ++i) {
        const auto descriptor = nextPart(rest);
        if (i == 0 || !descriptor.empty()) {
            descriptors.emplace_back(descriptor.begin(), descriptor.end());
        }
    }
    while (!rest.empty() && reports.size() < kReports) {
        const auto part = nextPart(rest);
        if (!part.empty()) {
            reports.push_back({part[0] & 1, (part[0] >> 1) & 3U, {part.begin() + 1, part.end()}});
        }
    }
}

QrxVirtualDevice FuzzedDevice::makeDevice() const
{
    std::vector<QrxVirtualInterface> interfaces;
    for (const std::vector<std::uint8_t>& descriptor : descriptors) {
        interfaces.push_back({static_cast<int>(interfaces.size()), descriptor});
    }
    return {QrxVirtualIdentity(0x1209, 0).setProductName("fuzzed"), interfaces};
}
