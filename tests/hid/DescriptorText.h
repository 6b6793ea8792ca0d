#pragma once

/// Report descriptors and element trees as text: what the tests compare, and what a failure shows.

#include "HID/ElementTree.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace qrx::hid {

/// Bytes from hex; white space is skipped. Descriptors in the tests are items in a row, each a prefix and its data. The
/// last digit of a prefix says how long its data is (1, 5, 9, D: one byte; 2, 6, A, E: two; 3, 7, B, F: four; 0, 4, 8, C:
/// none):
///
///     05 usage page          09 usage               A1 collection      81 input      15 logical minimum
///     75 report size         19 usage minimum       C0 end collection  91 output     25 logical maximum
///     95 report count        29 usage maximum       A4 push            B1 feature    35 physical minimum
///     85 report ID           A9 delimiter           B4 pop             65 unit       45 physical maximum
///
/// Data of A1: 00 physical, 01 application, 02 logical. Data of 81, 91, B1: bit 0 constant, bit 1 variable (else array),
/// bit 2 relative, bit 6 null state.
std::vector<std::uint8_t> bytesOf(std::string_view hex);
/// "05 01 09 02".
std::string hexOf(std::span<const std::uint8_t> bytes);

/// One line per collection: "0 in - type 1 usage 1:2".
std::string collectionsText(const Descriptor& descriptor);
/// One line per field: "input 0 at 8: 3 x 8 bits, flags 6, -127..127 (0..0), unit 0^0, usages 1:30 1:31 1:38, in 1".
/// The range in brackets is the physical one; a range of usages is "9:1-3"; "in -" is outside of any collection.
std::string fieldsText(const Descriptor& descriptor);
std::string fieldText(const Field& field);
/// One line per report: "input 0: 24 bits".
std::string reportsText(const Descriptor& descriptor);
/// One line per diagnosis: "error at 4, Usage Maximum: reason" or "warning ...".
std::string diagnosesText(const Descriptor& descriptor);

/// One line: "3 button 9:1 id 0 1*1 at 0 flags 2 0..1 (0..1) unit 0^0"; the type input is left out, a duplicate has its
/// index behind; "at none" has no place.
std::string elementText(const Element& element);
/// The published elements, children indented below their collection, then the report handlers.
std::string treeText(const ElementTree& tree);

} // namespace qrx::hid
