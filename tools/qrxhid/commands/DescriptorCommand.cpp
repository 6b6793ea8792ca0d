#include "commands/DescriptorCommand.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "descriptor/ItemText.h"
#include "descriptor/ReportDrawing.h"
#include "text/DeviceText.h"
#include "text/Notice.h"
#include "text/TextFormat.h"

#include "QrxReportLayout.h"
#include "text/Json.h"

#include <algorithm>
#include <unistd.h>

namespace qrxhid {

namespace {

// As hexdump and most data sheets have it.
constexpr std::size_t kBytesOfLine = 16;

std::string headingOf(const InterfaceDescriptor& descriptor)
{
    return descriptor.title + ", interface " + std::to_string(descriptor.interfaceNumber) + ", " +
           countText(descriptor.bytes.size(), "byte");
}

/// Sixteen bytes a line, each as `prefix` and two digits.
void writeRows(std::ostream& out, const std::vector<std::uint8_t>& bytes, const char* indent, const char* prefix,
               const char* separator)
{
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        // The last value has its comma as well, which C allows: two dumps differ in the lines that differ.
        const bool endsLine = i + 1 == bytes.size() || (i + 1) % kBytesOfLine == 0;
        out << (i % kBytesOfLine == 0 ? indent : "") << prefix << bytesText({&bytes[i], 1}) << separator
            << (endsLine ? "\n" : " ");
    }
}

/// A name or title could end the comment that it stands in.
std::string commentText(std::string text)
{
    for (std::size_t at = text.find("*/"); at != std::string::npos; at = text.find("*/", at)) {
        text.replace(at, 2, "* /");
    }
    return text;
}

// unsigned char and not uint8_t: the text compiles without an include.
void writeC(std::ostream& out, const InterfaceDescriptor& descriptor)
{
    out << "/* " << commentText(headingOf(descriptor)) << " */\nstatic const unsigned char report_descriptor_"
        << descriptor.interfaceNumber << "[" << descriptor.bytes.size() << "] = {\n";
    writeRows(out, descriptor.bytes, "    ", "0x", ",");
    out << "};\n";
}

void writeItems(std::ostream& out, const InterfaceDescriptor& descriptor)
{
    constexpr std::size_t kOffsetWidth = 6;
    // Five bytes, which is the longest short item; a long item pushes its own meaning to the right.
    constexpr std::size_t kBytesWidth = 16;
    constexpr std::size_t kIndent = 2;
    for (const ItemText& item : itemTexts(descriptor.bytes)) {
        const std::string meaning = item.meaning.empty() ? "" : " (" + item.meaning + ")";
        out << padded(std::to_string(item.offset), kOffsetWidth) << padded(bytesText(item.bytes), kBytesWidth)
            << std::string(kIndent * item.depth, ' ') << item.name << meaning << "\n";
    }
}

void writeAnnotated(std::ostream& out, const InterfaceDescriptor& descriptor)
{
    out << headingOf(descriptor) << "\n";
    writeItems(out, descriptor);
    drawReports(out, QrxReportLayout(descriptor.bytes.data(), descriptor.bytes.size()));
}

nlohmann::ordered_json descriptorJson(const InterfaceDescriptor& descriptor)
{
    nlohmann::ordered_json json = {{"title", descriptor.title},
                                   {"vendorID", descriptor.ids.vendorID},
                                   {"productID", descriptor.ids.productID},
                                   {"interface", descriptor.interfaceNumber},
                                   {"bytes", bytesText(descriptor.bytes, "")},
                                   {"items", nlohmann::ordered_json::array()}};
    for (const ItemText& item : itemTexts(descriptor.bytes)) {
        json["items"].push_back({{"offset", item.offset},
                                 {"bytes", bytesText(item.bytes, "")},
                                 {"depth", item.depth},
                                 {"name", item.name},
                                 {"meaning", item.meaning}});
    }
    return json;
}

/// Bytes have no room for a heading, so there can be one descriptor only, and no terminal to show it.
void writeBinary(std::ostream& out, const std::vector<InterfaceDescriptor>& descriptors)
{
    if (descriptors.size() != 1) {
        std::vector<std::string> choices;
        for (const InterfaceDescriptor& descriptor : descriptors) {
            choices.push_back("--interface " + std::to_string(descriptor.interfaceNumber) + "  " + descriptor.title);
        }
        throw UsageError(std::to_string(descriptors.size()) + " report descriptors match, and binary output is of one:",
                         "qrxhid descriptor --format binary --device VID:PID --interface N", choices);
    }
    // A descriptor has control characters, which would leave the terminal in a state of their own.
    if (isatty(STDOUT_FILENO) != 0) {
        throw UsageError("binary output is not for a terminal", "qrxhid descriptor --format binary > FILE");
    }
    const std::vector<std::uint8_t>& bytes = descriptors.front().bytes;
    out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

} // namespace

void DescriptorCommand::declareOptions(OptionSet& options)
{
    _source.declareOptions(options);
    options.addOption("--format", _format, "hex, c, or binary (hex)", "FORM");
    options.addFlag("--annotate", _isAnnotated, "Explain each item, and draw the bits of each report");
    options.addFlag("--json", _isJson, "One JSON document");
}

void DescriptorCommand::checkOptions()
{
    _source.checkOptions();
    if (_format != "hex" && _format != "c" && _format != "binary") {
        throw UsageError("--format " + _format + ": not hex, c or binary", "--format c");
    }
}

ExitStatus DescriptorCommand::run(std::ostream& out)
{
    const DescriptorSource::Found found = _source.read();
    if (_isJson) {
        nlohmann::ordered_json document = {{"descriptors", nlohmann::ordered_json::array()}};
        for (const InterfaceDescriptor& descriptor : found.descriptors) {
            document["descriptors"].push_back(descriptorJson(descriptor));
        }
        out << jsonText(document, true);
        return found.status;
    }
    // Without a descriptor the status says why, and the output stays empty.
    if (_format == "binary" && !found.descriptors.empty()) {
        writeBinary(out, found.descriptors);
        return found.status;
    }
    const char* separator = "";
    for (const InterfaceDescriptor& descriptor : found.descriptors) {
        out << separator;
        if (_isAnnotated) {
            writeAnnotated(out, descriptor);
        } else if (_format == "c") {
            writeC(out, descriptor);
        } else {
            // As a comment, so that tools which read hexadecimal text can skip it.
            out << "# " << headingOf(descriptor) << "\n";
            writeRows(out, descriptor.bytes, "", "", "");
        }
        separator = "\n";
    }
    return found.status;
}

} // namespace qrxhid
