#pragma once

#include "QrxReportDecoder.h"
#include "QrxReportLayout.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <ostream>
#include <string>
#include <unordered_map>
#include <vector>

namespace qrxhid {

/// "Generic Desktop: X = 5", one line for each usage after `indent`; values that one field counts stand in one line.
/// "(null)" marks a value that says that there is none.
void writeValues(std::ostream& out, const std::vector<QrxDecodedValue>& values, const char* indent);

/// The JSON of values: an array of {usagePage, usage, name, value, isNull}. Keep one for all reports of a watch: it
/// remembers what is the same in each, and writes the rest without an object for every value.
class ValuesJson {
public:
    /// One line, in ASCII.
    std::string textOf(const std::vector<QrxDecodedValue>& values);

private:
    /// All that stands before the number in a value's object. The reference holds until the next call.
    const std::string& beginningOf(std::uint32_t page, std::uint32_t usage);

    std::unordered_map<std::uint64_t, std::string> _beginnings;
};

/// The same for a report of which there is no device: a line for each value, in its unit as well where it has one.
void writeValues(std::ostream& out, const QrxReportValues& values, const char* indent);
/// An array of the same objects as that of ValuesJson.
nlohmann::ordered_json valuesJson(const QrxReportValues& values);

} // namespace qrxhid
