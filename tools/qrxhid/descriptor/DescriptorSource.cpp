#include "descriptor/DescriptorSource.h"

#include "OptionSet.h"
#include "UsageError.h"
#include "devices/DeviceDescription.h"
#include "devices/DeviceSession.h"
#include "devices/RecordingChoice.h"
#include "text/DeviceText.h"
#include "text/Notice.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>

namespace qrxhid {

namespace {

// The most that is worth reading: a descriptor has 4 KiB at most, and text takes several characters a byte.
constexpr std::size_t kMostBytes = std::size_t{1} << 16U;

std::optional<std::string> contentOf(const std::string& fileName)
{
    // As much as is worth reading and no more, since the name may be that of a device file without an end.
    std::ifstream file(fileName, std::ios::binary);
    std::string content(kMostBytes, '\0');
    file.read(content.data(), static_cast<std::streamsize>(content.size()));
    if (!file.is_open() || file.bad()) {
        return std::nullopt;
    }
    content.resize(static_cast<std::size_t>(file.gcount()));
    return content;
}

/// C's comments would be read as numbers: "face" is one.
std::string withoutComments(const std::string& text)
{
    std::string plain;
    for (std::size_t at = 0; at < text.size();) {
        const bool isLine = text.compare(at, 2, "//") == 0;
        if (!isLine && text.compare(at, 2, "/*") != 0) {
            plain += text[at++];
            continue;
        }
        const std::size_t end = text.find(isLine ? "\n" : "*/", at + 2);
        at = end == std::string::npos ? text.size() : end + (isLine ? 1 : 2);
        plain += ' ';
    }
    return plain;
}

/// No value for what is no byte: one or two hexadecimal digits after "0x" or nothing.
std::optional<std::uint8_t> byteOf(std::string word)
{
    if (word.starts_with("0x") || word.starts_with("0X")) {
        word.erase(0, 2);
    }
    const bool isHex = std::ranges::all_of(word, [](unsigned char one) { return std::isxdigit(one) != 0; });
    if (word.empty() || word.size() > 2 || !isHex) {
        return std::nullopt;
    }
    constexpr int kHexadecimal = 16;
    return static_cast<std::uint8_t>(std::stoul(word, nullptr, kHexadecimal));
}

// One character that no list of bytes has makes the file a binary one. A binary descriptor has such characters: it
// begins with a Usage Page item, whose byte is a control character.
std::optional<std::vector<std::uint8_t>> bytesOfText(const std::string& content)
{
    std::vector<std::uint8_t> bytes;
    std::string word;
    for (const char character : withoutComments(content) + " ") {
        if (std::isalnum(static_cast<unsigned char>(character)) != 0) {
            word += character;
            continue;
        }
        if (std::string_view(", \t\r\n").find(character) == std::string_view::npos) {
            return std::nullopt;
        }
        if (const std::optional<std::uint8_t> byte = byteOf(word)) {
            bytes.push_back(*byte);
        } else if (!word.empty()) {
            return std::nullopt;
        }
        word.clear();
    }
    return bytes;
}

/// Only for interfaces that the filter lets pass.
void addInterfaces(std::vector<InterfaceDescriptor>& descriptors, const QrxRecording& device, const std::string& title,
                   const DeviceFilter& filter)
{
    for (const QrxRecordedInterface& interface : device.getInterfaces()) {
        if (filter.hasInterface(interface.getNumber())) {
            descriptors.push_back({title,
                                   {device.getVendorID(), device.getProductID()},
                                   interface.getNumber(),
                                   interface.getReportDescriptor()});
        }
    }
}

} // namespace

std::vector<std::uint8_t> descriptorFromFile(const std::string& content)
{
    // Text is tried first: a binary descriptor is never taken for text, see bytesOfText.
    return bytesOfText(content).value_or(std::vector<std::uint8_t>(content.begin(), content.end()));
}

void DescriptorSource::declareOptions(OptionSet& options)
{
    options.addOption("--descriptor", _files,
                      "Work on the report descriptors in these files: bytes, or their hexadecimal text as in C source",
                      "FILE");
    _choice.declareOptionsOfReader(options);
}

void DescriptorSource::checkOptions()
{
    _choice.checkOptions();
    // A filter would match nothing here, and be taken for a descriptor without findings.
    if (!_files.empty() && (_choice.hasRecordings() || !_choice.filter().isEverything())) {
        throw UsageError("--descriptor is a descriptor without a device", "--descriptor FILE alone");
    }
}

DescriptorSource::Found DescriptorSource::read() const
{
    Found found;
    if (!_files.empty()) {
        addFiles(found);
    } else if (_choice.hasRecordings()) {
        addRecordings(found);
    } else {
        addDevices(found);
    }
    return found;
}

void DescriptorSource::addFiles(Found& found) const
{
    // One that cannot be read does not keep the others from being worked on; the status tells of it.
    for (const std::string& name : _files) {
        if (const std::optional<std::string> content = contentOf(name)) {
            found.descriptors.push_back({shownText(name), {}, 0, descriptorFromFile(*content)});
        } else {
            notice(name + " cannot be read: " + std::strerror(errno));
            found.status = kBadRecording;
        }
    }
}

void DescriptorSource::addRecordings(Found& found) const
{
    for (const ChosenRecording& chosen : chooseRecordings(_choice, found.status)) {
        addInterfaces(found.descriptors, chosen.recording, chosen.title, _choice.filter());
    }
}

// Devices of the machine do go through the library: it is what reads their descriptors.
void DescriptorSource::addDevices(Found& found) const
{
    DeviceSession session(_choice);
    session.begin();
    for (const PresentDevice& device : session.devices()) {
        addInterfaces(found.descriptors, describeDevice(*device.handle), deviceTitle(*device.handle), _choice.filter());
    }
}

} // namespace qrxhid
