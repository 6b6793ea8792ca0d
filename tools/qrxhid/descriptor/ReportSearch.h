#pragma once

#include "descriptor/DescriptorSource.h"

#include "QrxReportLayout.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qrxhid {

class OptionSet;

/// One report that an interface declares.
struct DeclaredReport {
    int interfaceNumber = 0;
    QrxReportLayout layout;
    QrxReportType type = QrxReportType::input;
    std::uint32_t reportID = 0;

    /// "input"
    const char* typeName() const;
    std::size_t bytes() const { return layout.getReportSizeBytes(type, reportID); }
    /// "--interface 0 --type output --report 2", as ReportOptions takes it.
    std::string options() const;
    /// "input report 1 of interface 0"
    std::string text() const;
};

/// The options that name a report of a device.
class ReportOptions {
public:
    void declareOptions(OptionSet& options);
    /// Throws UsageError.
    void checkOptions();

    std::optional<QrxReportType> type() const { return _type; }

    /// All reports of the interfaces that these options let pass.
    std::vector<DeclaredReport> reportsOf(const std::vector<InterfaceDescriptor>& descriptors) const;

private:
    std::optional<std::string> _typeText;
    std::optional<std::string> _reportText;
    std::optional<QrxReportType> _type;
    std::optional<std::uint32_t> _reportID;
};

/// Those that the bytes can be: by their number, where reports are numbered, and of these by their length, if one has
/// it. There is at least one byte.
std::vector<DeclaredReport> reportsOfBytes(std::vector<DeclaredReport> reports, const std::vector<std::uint8_t>& bytes);

/// The only one of them; throws UsageError, which lists them, if there are several or none. `command` is the one to try
/// again.
DeclaredReport onlyReport(const std::vector<DeclaredReport>& reports, const std::string& command);

/// The descriptors are of one device or file; throws UsageError, which lists the devices, if they are not.
void requireOneDevice(const std::vector<InterfaceDescriptor>& descriptors, const std::string& command);

/// The bytes that words like "01", "01ff" and "0x01,0xff" say together. Throws UsageError for anything else.
std::vector<std::uint8_t> parseBytes(const std::vector<std::string>& words, const std::string& command);

} // namespace qrxhid
