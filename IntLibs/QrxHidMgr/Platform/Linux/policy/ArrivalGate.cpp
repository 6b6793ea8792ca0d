#include "ArrivalGate.h"

#include <algorithm>

namespace qrx::platform {

std::vector<std::string> ArrivalGate::devices() const
{
    std::vector<std::string> names;
    names.reserve(_waiting.size());
    for (const auto& [device, until] : _waiting) {
        names.push_back(device);
    }
    return names;
}

std::vector<std::string> ArrivalGate::takeExpired(Time now)
{
    std::vector<std::pair<Time, std::string>> expired;
    for (const auto& [device, until] : _waiting) {
        if (until <= now) {
            expired.emplace_back(until, device);
        }
    }
    std::sort(expired.begin(), expired.end());
    std::vector<std::string> names;
    for (auto& [until, device] : expired) {
        _waiting.erase(device);
        names.push_back(std::move(device));
    }
    return names;
}

std::optional<ArrivalGate::Time> ArrivalGate::nextExpiry() const
{
    std::optional<Time> next;
    for (const auto& [device, until] : _waiting) {
        next = next ? std::min(*next, until) : until;
    }
    return next;
}

} // namespace qrx::platform
