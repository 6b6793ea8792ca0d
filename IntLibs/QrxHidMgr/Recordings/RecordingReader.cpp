// A recording is read line by line; the first letter and a colon say what a line is (see QrxRecording.h for the
// format). Lines of one interface need not stand together: a D: line switches to an interface, by a number that is only
// a name, and interfaces are listed in the order in which they first appear. Notes ("#@") are comments to other tools
// and carry what the format lacks; notes with unknown names belong to later versions and are skipped.
//
// A recording may come from a bug report. Every number has a limit, a line has a longest length, and the first line
// that is not understood ends the reading with its number, so that no half of a device is ever returned.

#include "RecordingReader.h"

#include "RecordingRules.h"
#include "TextLines.h"

#include <algorithm>
#include <optional>

namespace qrx {

using namespace recording;
using text_lines::nextWord;
using text_lines::number;
using text_lines::quoted;
using text_lines::trimmed;

namespace {

char unescaped(char escape)
{
    switch (escape) {
    case 'n':
        return '\n';
    case 'r':
        return '\r';
    case 's':
        return ' ';
    case 't':
        return '\t';
    // A backslash before any other character stands for that character.
    default:
        return escape;
    }
}

std::string unescaped(std::string_view text)
{
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        // A backslash at the end of a text has nothing to escape, and is one.
        if (text[i] != '\\' || i + 1 == text.size()) {
            plain.push_back(text[i]);
            continue;
        }
        plain.push_back(unescaped(text[++i]));
    }
    return plain;
}

} // namespace

void RecordingReader::fail(const std::string& reason) const
{
    throw QrxRecordingError(_fileName, _line, reason);
}

QrxRecording RecordingReader::read(std::istream& text)
{
    text_lines::Reader lines(text);
    for (std::string_view line; lines.next(line);) {
        _line = lines.number();
        readLine(line);
    }
    if (!lines.fault().empty()) {
        _line = lines.number();
        fail(lines.fault());
    }
    finish();
    // A reader reads one text: the recording is handed out, not copied.
    return std::move(_recording);
}

void RecordingReader::readLine(std::string_view line)
{
    // Blanks at the ends mean nothing, and a text from another system ends its lines with "\r\n".
    line = trimmed(line);
    if (line.empty()) {
        return;
    }
    if (line.front() == '#') {
        readComment(line.substr(1));
        return;
    }
    if (line.size() < 2 || line[1] != ':') {
        fail("neither a comment nor one of the lines D: R: N: P: I: E:, but " + quoted(line));
    }
    const std::string_view value = trimmed(line.substr(2));
    switch (line.front()) {
    // Other letters are refused and not skipped: what they say may change what the rest means.
    case 'D':
        return switchInterface(value);
    case 'R':
        return readDescriptor(value);
    case 'N':
        currentInterface().setName(checkedText(std::string(value)));
        return;
    case 'P':
        currentInterface().setPhysicalPath(checkedText(std::string(value)));
        return;
    case 'I':
        return readIdentity(value);
    case 'E':
        return readEvent(value);
    default:
        fail("unknown line " + quoted(line.substr(0, 2)) + "; known are D: R: N: P: I: E:");
    }
}

void RecordingReader::readComment(std::string_view text)
{
    // Comments are kept, because people note in them what a recording shows.
    if (text.empty() || text.front() != '@') {
        _recording.getComments().push_back(checkedText(std::string(trimmed(text))));
        return;
    }
    text.remove_prefix(1);
    const std::size_t colon = text.find(':');
    if (colon == std::string_view::npos) {
        fail("a line that begins with #@ needs a colon after its name");
    }
    readNote(trimmed(text.substr(0, colon)), trimmed(text.substr(colon + 1)));
}

// Unknown names are skipped: they belong to a later version.
void RecordingReader::readNote(std::string_view key, std::string_view value)
{
    if (key == "vendor-name") {
        _recording.setVendorName(noteText(value));
    } else if (key == "product-name") {
        _recording.setProductName(noteText(value));
        // An empty name counts as well: it says that the device has none, where the interface's name would be taken
        // otherwise.
        _hasProductName = true;
    } else if (key == "serial-number") {
        _recording.setSerialNumber(noteText(value));
    } else if (key == "interface-name") {
        currentInterface().setName(noteText(value));
    } else if (key == "physical-path") {
        currentInterface().setPhysicalPath(noteText(value));
    } else if (key == "comment") {
        _recording.getComments().push_back(noteText(value));
    } else if (key == "release") {
        readReleaseNote(value);
    } else if (key == "device-class") {
        readDeviceClassNote(value);
    } else if (key == "interface") {
        readInterfaceNote(value);
    }
}

std::string RecordingReader::checkedText(std::string text) const
{
    if (text.size() > kMaximumTextBytes) {
        fail("a text of more than " + std::to_string(kMaximumTextBytes) + " bytes");
    }
    return text;
}

std::string RecordingReader::noteText(std::string_view value) const
{
    // The limit is on what is kept; the line is longer by its escapes.
    return checkedText(unescaped(value));
}

void RecordingReader::readReleaseNote(std::string_view value)
{
    const auto release = number(value, 16, 0xFFFF);
    if (!release) {
        fail("release needs four hexadecimal digits, not " + quoted(value));
    }
    _recording.setReleaseNumber(static_cast<std::uint16_t>(*release));
}

void RecordingReader::readDeviceClassNote(std::string_view value)
{
    const auto deviceClass = number(nextWord(value), 16, 0xFF);
    const auto subclass = number(nextWord(value), 16, 0xFF);
    const auto protocol = number(nextWord(value), 16, 0xFF);
    if (!deviceClass || !subclass || !protocol || !trimmed(value).empty()) {
        fail("device-class needs class, subclass and protocol, two hexadecimal digits each");
    }
    _recording.setDeviceClass(static_cast<std::uint8_t>(*deviceClass));
    _recording.setDeviceSubclass(static_cast<std::uint8_t>(*subclass));
    _recording.setDeviceProtocol(static_cast<std::uint8_t>(*protocol));
}

void RecordingReader::readInterfaceNote(std::string_view value)
{
    const auto interfaceNumber = number(nextWord(value), 10, kMaximumInterfaceNumber);
    const auto subclass = number(nextWord(value), 16, 0xFF);
    const auto protocol = number(nextWord(value), 16, 0xFF);
    if (!interfaceNumber || !subclass || !protocol || !trimmed(value).empty()) {
        fail("interface needs its number, then subclass and protocol in hexadecimal");
    }
    QrxRecordedInterface& interface = currentInterface();
    interface.setNumber(static_cast<int>(*interfaceNumber));
    interface.setSubclass(static_cast<std::uint8_t>(*subclass));
    interface.setProtocol(static_cast<std::uint8_t>(*protocol));
}

void RecordingReader::switchInterface(std::string_view value)
{
    // The number is used as a name: recorders begin to count at 0 or 1 and may leave numbers out.
    if (!number(value, 10, 0xFFFF)) {
        fail("D: needs a number, not " + quoted(value));
    }
    _currentName = value;
}

QrxRecordedInterface& RecordingReader::currentInterface()
{
    // Without a note the interface gets the number of its place; a note may replace it later.
    const auto [known, isNew] = _interfaceByName.try_emplace(_currentName, _recording.getInterfaces().size());
    if (isNew) {
        if (known->second > kMaximumInterfaceNumber) {
            fail("more than " + std::to_string(kMaximumInterfaceNumber + 1) + " interfaces");
        }
        _recording.getInterfaces().emplace_back().setNumber(static_cast<int>(known->second));
    }
    return _recording.getInterfaces()[known->second];
}

void RecordingReader::readDescriptor(std::string_view value)
{
    QrxRecordedInterface& interface = currentInterface();
    // One descriptor for each interface: a second one would change what the events before it mean.
    if (!_describedInterfaces.insert(_interfaceByName.find(_currentName)->second).second) {
        fail("a second R: line for the same interface; put a D: line before it if it is another one's");
    }
    interface.setReportDescriptor(readBytes(value, "R:"));
}

void RecordingReader::readIdentity(std::string_view value)
{
    const std::string_view whole = value;
    const auto bus = number(nextWord(value), 16, 0xFFFF);
    const auto vendorID = number(nextWord(value), 16, 0xFFFF);
    const auto productID = number(nextWord(value), 16, 0xFFFF);
    if (!bus || !vendorID || !productID || !trimmed(value).empty()) {
        fail("I: needs bus, vendor ID and product ID in hexadecimal, not " + quoted(whole));
    }
    // An interface may have this line alone before its descriptor. It takes its place in the list here.
    currentInterface();
    // The bus may differ, since recorders write it for each node; vendor and product name the device.
    if (_hasIdentity && (_recording.getVendorID() != *vendorID || _recording.getProductID() != *productID)) {
        fail("all interfaces of a recording belong to one device, but this I: line names another; "
             "put each device into a file of its own");
    }
    _recording.setBus(static_cast<std::uint16_t>(*bus));
    _recording.setVendorID(static_cast<std::uint16_t>(*vendorID));
    _recording.setProductID(static_cast<std::uint16_t>(*productID));
    _hasIdentity = true;
}

void RecordingReader::readEvent(std::string_view value)
{
    QrxRecordedEvent event;
    event.setTimeUs(readTime(nextWord(value)));
    if (!_recording.getEvents().empty() && event.getTimeUs() < _recording.getEvents().back().getTimeUs()) {
        fail("time runs backwards");
    }
    // Found and not made: a D: line with a new number must not create an interface that has only events.
    const auto interface = _interfaceByName.find(_currentName);
    if (interface == _interfaceByName.end() || !_describedInterfaces.contains(interface->second)) {
        fail("an event before the R: line of its interface");
    }
    event.setInterfaceIndex(interface->second);
    event.setBytes(readBytes(value, "E:"));
    _recording.getEvents().push_back(std::move(event));
}

std::uint64_t RecordingReader::readTime(std::string_view value) const
{
    constexpr std::size_t kMicrosecondDigits = 6;
    const std::size_t point = value.find('.');
    const auto seconds = number(value.substr(0, point), 10, kMaximumSeconds);
    std::string fraction(point == std::string_view::npos ? "0" : value.substr(point + 1));
    // ".25" means 250,000 microseconds: the fraction is filled up at its right end before it is read as a number.
    fraction.resize(std::max(fraction.size(), kMicrosecondDigits), '0');
    const auto microseconds = number(fraction, 10, 999'999);
    if (!seconds || fraction.size() > kMicrosecondDigits || !microseconds) {
        fail("E: needs a time in seconds.microseconds, not " + quoted(value));
    }
    // Both have limits that leave the sum far below 64 bits.
    return *seconds * 1'000'000 + *microseconds;
}

std::vector<std::uint8_t> RecordingReader::readBytes(std::string_view value, const char* what) const
{
    const auto length = number(nextWord(value), 10, kMaximumBytes);
    if (!length) {
        fail(std::string(what) + " needs a length of at most " + std::to_string(kMaximumBytes) + " bytes");
    }
    std::vector<std::uint8_t> bytes;
    // The stated length is not believed before the bytes are there: it must not decide about memory.
    bytes.reserve(std::min<std::size_t>(*length, value.size() / 2 + 1));
    for (std::string_view word = nextWord(value); !word.empty(); word = nextWord(value)) {
        const auto byte = number(word, 16, 0xFF);
        if (!byte || word.size() > 2) {
            fail(std::string(what) + " needs bytes of two hexadecimal digits, not " + quoted(word));
        }
        bytes.push_back(static_cast<std::uint8_t>(*byte));
    }
    // Checked at the end, so that a line that was cut off is told from one with a wrong byte.
    if (bytes.size() != *length) {
        fail(std::string(what) + " states " + std::to_string(*length) + " bytes, but " + std::to_string(bytes.size()) +
             " follow");
    }
    return bytes;
}

void RecordingReader::finish()
{
    // What is missing has no line; the message names the file alone.
    _line = 0;
    if (_recording.getInterfaces().empty() || _describedInterfaces.size() != _recording.getInterfaces().size()) {
        fail("no R: line with a report descriptor");
    }
    if (!_hasIdentity) {
        fail("no I: line with bus, vendor ID and product ID");
    }
    std::set<int> numbers;
    // Numbers are compared at the end, because notes may change them up to the last line.
    for (const QrxRecordedInterface& interface : _recording.getInterfaces()) {
        if (!numbers.insert(interface.getNumber()).second) {
            fail("two interfaces have the number " + std::to_string(interface.getNumber()));
        }
    }
    if (!_hasProductName) {
        _recording.setProductName(_recording.getInterfaces().front().getName());
    }
}

} // namespace qrx
