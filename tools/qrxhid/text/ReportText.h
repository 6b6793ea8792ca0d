#pragma once

#include "QrxReportDecoder.h"
#include "QrxReportLayout.h"

#include <nlohmann/json.hpp>

#include <ostream>
#include <vector>

namespace qrxhid {

/// "Generic Desktop: X = 5", one line for each usage after `indent`; values that one field counts stand in one line.
/// "(null)" marks a value that says that there is none.
void writeValues(std::ostream& out, const std::vector<QrxDecodedValue>& values, const char* indent);

/// An array of {usagePage, usage, name, value, isNull}.
nlohmann::ordered_json valuesJson(const std::vector<QrxDecodedValue>& values);

/// The same for a report of which there is no device: a line for each value, in its unit as well where it has one.
void writeValues(std::ostream& out, const QrxReportValues& values, const char* indent);
nlohmann::ordered_json valuesJson(const QrxReportValues& values);

} // namespace qrxhid
