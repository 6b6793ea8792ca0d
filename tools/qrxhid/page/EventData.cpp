#include "page/EventData.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

namespace qrxhid {

namespace {

void addNumber(std::string& bytes, std::uint64_t number)
{
    constexpr unsigned kBitsOfGroup = 7;
    constexpr std::uint64_t kGroupMask = 0x7F;
    constexpr std::uint64_t kMore = 0x80;
    for (; number > kGroupMask; number >>= kBitsOfGroup) {
        // Seven bits a byte, the lowest first: most times and lengths take one or two bytes.
        bytes += static_cast<char>((number & kGroupMask) | kMore);
    }
    bytes += static_cast<char>(number);
}

/// By their indexes in the recording, the indexes of the wanted interfaces among each other.
std::vector<std::optional<std::size_t>> newIndexes(const QrxRecording& recording,
                                                   const std::function<bool(int)>& isWanted)
{
    std::vector<std::optional<std::size_t>> indexes;
    std::size_t next = 0;
    for (const QrxRecordedInterface& interface : recording.getInterfaces()) {
        indexes.push_back(isWanted(interface.getNumber()) ? std::optional(next++) : std::nullopt);
    }
    return indexes;
}

} // namespace

std::string eventData(const QrxRecording& recording, const std::function<bool(int)>& isWanted)
{
    const std::vector<std::optional<std::size_t>> indexes = newIndexes(recording, isWanted);
    std::string bytes;
    std::uint64_t lastUs = 0;
    for (const QrxRecordedEvent& event : recording.getEvents()) {
        if (const std::optional<std::size_t> index = indexes[event.getInterfaceIndex()]) {
            // Times as differences, which are small; they never decrease in a recording.
            addNumber(bytes, event.getTimeUs() - lastUs);
            addNumber(bytes, *index);
            addNumber(bytes, event.getBytes().size());
            bytes.append(event.getBytes().begin(), event.getBytes().end());
            lastUs = event.getTimeUs();
        }
    }
    return base64Of(bytes);
}

std::string base64Of(const std::string& bytes)
{
    constexpr const char* kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    constexpr unsigned kDigitBits = 6;
    constexpr std::uint32_t kDigitMask = 0x3F;
    constexpr unsigned kGroupBytes = 3;
    constexpr unsigned kGroupDigits = 4;
    std::string text;
    text.reserve((bytes.size() / kGroupBytes + 1) * kGroupDigits);
    for (std::size_t at = 0; at < bytes.size(); at += kGroupBytes) {
        std::uint32_t group = 0;
        for (std::size_t i = at; i < at + kGroupBytes; ++i) {
            group = group << 8U | (i < bytes.size() ? static_cast<std::uint8_t>(bytes[i]) : 0U);
        }
        // One byte takes two digits, two bytes three; '=' fills the group (RFC 4648, 4).
        const std::size_t digits = std::min<std::size_t>(bytes.size() - at, kGroupBytes) + 1;
        for (unsigned digit = 0; digit < kGroupDigits; ++digit) {
            text += digit < digits ? kDigits[group >> (kDigitBits * (kGroupDigits - 1 - digit)) & kDigitMask] : '=';
        }
    }
    return text;
}

} // namespace qrxhid
