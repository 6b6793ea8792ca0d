#pragma once

#include "QrxReportDecoder.h"

#include <cstdint>
#include <map>
#include <tuple>
#include <vector>

namespace qrxhid {

/// Passes on what is new in the reports of one device.
class ChangeFilter {
public:
    /// The values that differ from the last report of the same interface and number (from 0 in the first one); of
    /// relative ones those that are not 0. A usage that an array no longer shows comes with the value 0.
    std::vector<QrxDecodedValue> changes(int interfaceNumber, std::uint32_t reportID,
                                         const std::vector<QrxDecodedValue>& values);

private:
    /// Page, usage and place; a usage that an array shows has no place of its own.
    using ValueKey = std::tuple<std::uint32_t, std::uint32_t, std::size_t, bool>;
    using Values = std::map<ValueKey, QrxDecodedValue>;

    static ValueKey keyOf(const QrxDecodedValue& value);

    std::map<std::pair<int, std::uint32_t>, Values> _last;
};

} // namespace qrxhid
