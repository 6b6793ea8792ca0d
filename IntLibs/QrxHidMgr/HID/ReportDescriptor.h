#pragma once

/// Reading is a pure function: no I/O, no state, bounded in time and memory by Limits whatever the bytes are. A fault
/// does not end it: each is reported with its place, and reading goes on with the most probable meaning
/// (DescriptorReader.cpp).

#include "ReportType.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qrx::hid {

/// Bounds for hostile input; see each one's reason.
struct Limits {
    /// The Linux kernel and its USB HID driver refuse longer descriptors (HID_MAX_DESCRIPTOR_SIZE).
    std::size_t descriptorBytes = 4096;
    /// Open collections at once; real devices stay below 10.
    std::size_t collectionDepth = 64;
    /// Pushed global states at once.
    std::size_t globalStackDepth = 64;
    /// Entries of one interface's element table: heads, duplicates, slots and selectors counted. A keyboard has some
    /// 250; fewer than 10 of 550 real devices exceed the limit, with blobs of bytes or arrays over half a usage page.
    std::size_t elements = 16384;
    /// Payload bits of one report: what a control transfer can carry (65,535 bytes).
    std::size_t reportBits = std::size_t{8} * 65535;
    /// Diagnoses kept of one descriptor; the rest is counted.
    std::size_t diagnoses = 32;
};

/// Usages of an item in the order of their declaration, `first == last` for a single one. The usage page is in the high
/// half. Of a set of alternatives (Delimiter) only the first, the preferred one, is listed.
struct UsageRange {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    /// How many usages: last - first + 1.
    std::uint64_t count() const { return std::uint64_t{last} - first + 1; }
};

struct Collection {
    /// The item's data: 0 physical, 1 application, 2 logical, 3 report, 4 named array, 5 usage switch, 6 usage
    /// modifier.
    std::uint32_t type = 0;
    std::uint16_t usagePage = 0;
    /// The first usage, with its own page if it is an extended one; 0 on the current page if there is none.
    std::uint32_t usage = 0;
    /// Index of the enclosing collection; none for a top-level one.
    std::optional<std::size_t> parent;
    std::size_t depth = 0;
    /// Byte offset of the item.
    std::size_t offset = 0;
};

/// Bits of a field's flags, the data of its main item.
enum FieldFlags : std::uint32_t {
    kFieldConstant = 0x001,
    kFieldVariable = 0x002,
    kFieldRelative = 0x004,
    kFieldWrap = 0x008,
    kFieldNonLinear = 0x010,
    kFieldNoPreferred = 0x020,
    kFieldNullState = 0x040,
    kFieldVolatile = 0x080,
    kFieldBufferedBytes = 0x100
};

/// One Input, Output or Feature item: `count` fields of `sizeBits` each.
struct Field {
    ReportType type = ReportType::input;
    /// 0 for a device that does not number its reports.
    std::uint32_t reportID = 0;
    /// From the first payload bit: the byte with the report's number is not counted.
    std::size_t bitOffset = 0;
    std::uint32_t sizeBits = 0;
    std::uint32_t count = 0;
    std::uint32_t flags = 0;
    /// The maximum is read as unsigned where the minimum is not negative and the signed reading would be below it.
    std::int64_t logicalMinimum = 0;
    std::int64_t logicalMaximum = 0;
    /// As declared, by the same rule; 0 if never declared.
    std::int64_t physicalMinimum = 0;
    std::int64_t physicalMaximum = 0;
    std::uint32_t unit = 0;
    /// The power of ten: the item's signed value, where the nibble codes 8..15 of HID 1.11 are -8..-1.
    std::int32_t unitExponent = 0;
    /// The item's signed value without regard to the nibble codes, so -2 may be 14 here.
    std::int32_t rawUnitExponent = 0;
    /// Joined with the usage page in force at this item (6.2.2.8), except those that carry their own, and except those
    /// written before a usage that was itself written on that page: such a list names its pages one by one.
    std::vector<UsageRange> usages;
    /// Index of the innermost enclosing collection.
    std::optional<std::size_t> collection;
    /// Byte offset of the item.
    std::size_t offset = 0;

    bool isConstant() const { return (flags & kFieldConstant) != 0; }
    bool isVariable() const { return (flags & kFieldVariable) != 0; }
};

/// One report: a type and a number, with the bits of all its fields.
struct Report {
    ReportType type = ReportType::input;
    std::uint32_t id = 0;
    /// The byte with the report's number is not counted.
    std::size_t bits = 0;
};

/// A fault of the descriptor: where, at which item, and why.
struct Diagnosis {
    /// Byte offset of the item; the descriptor's length for what is missing at its end.
    std::size_t offset = 0;
    /// The item's name as HID 1.11 spells it ("Usage Maximum"), or "end".
    std::string item;
    std::string reason;
    /// False for what breaks a rule but leaves no doubt about the meaning.
    bool isError = true;
};

struct Descriptor {
    /// In the order of their items; reports in the order of their first fields.
    std::vector<Collection> collections;
    std::vector<Field> fields;
    std::vector<Report> reports;
    /// Report numbers in the order of first appearance, without 0; also those that no field uses.
    std::vector<std::uint32_t> reportIDs;
    std::vector<Diagnosis> diagnoses;
    /// Diagnoses beyond the limit.
    std::size_t unlistedDiagnoses = 0;
    /// Diagnoses that are errors, the unlisted ones included.
    std::size_t errorCount = 0;

    bool usesReportIDs() const { return !reportIDs.empty(); }
    bool hasErrors() const { return errorCount != 0; }
};

Descriptor parseReportDescriptor(std::span<const std::uint8_t> bytes, const Limits& limits = {});

} // namespace qrx::hid
