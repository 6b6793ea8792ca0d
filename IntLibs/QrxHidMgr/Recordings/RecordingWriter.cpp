// Writes what the reader gives back unchanged. The basic lines of the format have no escapes, so a text with a line end
// or with a blank at its end is written twice: in the basic line as far as it can be shown, for other tools, and in a
// note with escapes, which counts for this library.

#include "RecordingWriter.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ostream>

namespace qrx {

namespace {

constexpr std::string_view kLineEnds = "\r\n";
constexpr std::string_view kBlanks = " \t";

std::string hex(unsigned int value, int digits)
{
    // `snprintf` and not the stream: its flags and its locale belong to the caller.
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*x", digits, value);
    return text.data();
}

bool isBlank(char character)
{
    return kBlanks.find(character) != std::string_view::npos;
}

/// A blank at an end is escaped, because lines are read without blanks at their ends.
std::string escaped(std::string_view text)
{
    std::string safe;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char character = text[i];
        const bool isAtEnd = i == 0 || i + 1 == text.size();
        if (character == '\n') {
            safe += "\\n";
        } else if (character == '\r') {
            safe += "\\r";
        } else if (character == '\\') {
            safe += "\\\\";
        } else if (isAtEnd && isBlank(character)) {
            safe += character == ' ' ? "\\s" : "\\t";
        } else {
            safe += character;
        }
    }
    return safe;
}

/// Whether a line without escapes gives the text back.
bool fitsLine(std::string_view text)
{
    return text.empty() ||
           (text.find_first_of(kLineEnds) == std::string_view::npos && !isBlank(text.front()) && !isBlank(text.back()));
}

std::string oneLine(std::string text)
{
    std::replace(text.begin(), text.end(), '\n', ' ');
    std::replace(text.begin(), text.end(), '\r', ' ');
    return text;
}

} // namespace

void RecordingWriter::write(const QrxRecording& recording)
{
    for (const std::string& comment : recording.getComments()) {
        addComment(comment);
    }
    // The notes of the device stand before the first interface: readers take what follows a D: line as that
    // interface's.
    addNotes(recording);
    for (std::size_t index = 0; index < recording.getInterfaces().size(); ++index) {
        addInterface(recording, index);
    }
    // The head of the file is handed over at once, then each event by itself, so that memory does not grow with the
    // recording.
    handOver();
    // The last interface described is the one that events without a D: line belong to.
    std::size_t current = recording.getInterfaces().size() - 1;
    for (const QrxRecordedEvent& event : recording.getEvents()) {
        writeEvent(event, event.getInterfaceIndex() != current);
        current = event.getInterfaceIndex();
    }
}

void RecordingWriter::writeEvent(const QrxRecordedEvent& event, bool switchesInterface)
{
    if (switchesInterface) {
        addInterfaceSwitch(event.getInterfaceIndex());
    }
    std::array<char, 40> time{};
    std::snprintf(time.data(), time.size(), "%06llu.%06llu",
                  static_cast<unsigned long long>(event.getTimeUs() / 1'000'000),
                  static_cast<unsigned long long>(event.getTimeUs() % 1'000'000));
    // Six digits before the point, as the field's recorders write them; longer times are wider.
    _lines.append("E: ").append(time.data()).append(" ");
    addBytes(event.getBytes());
    handOver();
}

// Unformatted output: a width or a fill character that the stream keeps must not change the lines.
void RecordingWriter::handOver()
{
    _text.write(_lines.data(), static_cast<std::streamsize>(_lines.size()));
    _lines.clear();
}

void RecordingWriter::addComment(const std::string& comment)
{
    if (fitsLine(comment)) {
        _lines.append("# ").append(comment).append("\n");
    } else {
        addNote("comment", comment);
    }
}

void RecordingWriter::addNotes(const QrxRecording& recording)
{
    if (!recording.getVendorName().empty()) {
        addNote("vendor-name", recording.getVendorName());
    }
    // Left out where it is what the reader assumes anyway.
    if (recording.getProductName() != recording.getInterfaces().front().getName()) {
        addNote("product-name", recording.getProductName());
    }
    if (!recording.getSerialNumber().empty()) {
        addNote("serial-number", recording.getSerialNumber());
    }
    addNote("release", hex(recording.getReleaseNumber(), 4));
    addNote("device-class", hex(recording.getDeviceClass(), 2) + " " + hex(recording.getDeviceSubclass(), 2) + " " +
                                hex(recording.getDeviceProtocol(), 2));
}

void RecordingWriter::addNote(std::string_view key, const std::string& value)
{
    _lines.append("#@ ").append(key).append(": ").append(escaped(value)).append("\n");
}

void RecordingWriter::addInterface(const QrxRecording& recording, std::size_t index)
{
    const QrxRecordedInterface& interface = recording.getInterfaces()[index];
    // A recording of one interface needs no D: line, and tools that know no composite devices can read it then.
    if (recording.getInterfaces().size() > 1) {
        addInterfaceSwitch(index);
    }
    addNote("interface", std::to_string(interface.getNumber()) + " " + hex(interface.getSubclass(), 2) + " " +
                             hex(interface.getProtocol(), 2));
    _lines.append("R: ");
    addBytes(interface.getReportDescriptor());
    addText("N: ", "interface-name", interface.getName());
    addText("P: ", "physical-path", interface.getPhysicalPath());
    // Every interface repeats the identity, since recorders write it for each node.
    _lines.append("I: ").append(hex(recording.getBus(), 1)).append(" ");
    _lines.append(hex(recording.getVendorID(), 4)).append(" ").append(hex(recording.getProductID(), 4)).append("\n");
}

// The basic lines have no escapes, so a backslash in them is one. A text that they cannot carry follows in a note; the
// basic line still gives other tools something to show.
void RecordingWriter::addText(std::string_view start, std::string_view noteKey, const std::string& text)
{
    _lines.append(start).append(oneLine(text)).append("\n");
    if (!fitsLine(text)) {
        addNote(noteKey, text);
    }
}

void RecordingWriter::addInterfaceSwitch(std::size_t interfaceIndex)
{
    _lines.append("D: ").append(std::to_string(interfaceIndex)).append("\n");
}

void RecordingWriter::addBytes(const std::vector<std::uint8_t>& bytes)
{
    _lines.append(std::to_string(bytes.size()));
    for (const std::uint8_t byte : bytes) {
        _lines.append(" ").append(hex(byte, 2));
    }
    _lines.append("\n");
}

} // namespace qrx
