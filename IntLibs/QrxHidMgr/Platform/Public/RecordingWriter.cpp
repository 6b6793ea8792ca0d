#include "RecordingWriter.h"

#include <array>
#include <cstdio>
#include <ostream>

namespace qrx {

namespace {

std::string hex(unsigned int value, int digits)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%0*x", digits, value);
    return text.data();
}

std::string escaped(const std::string& text)
{
    std::string safe;
    for (const char character : text) {
        if (character == '\n') {
            safe += "\\n";
        } else if (character == '\r') {
            safe += "\\r";
        } else if (character == '\\') {
            safe += "\\\\";
        } else {
            safe += character;
        }
    }
    return safe;
}

/// Names of the basic lines have no escapes in the format: what would break the line becomes a blank.
std::string oneLine(std::string text)
{
    for (char& character : text) {
        if (character == '\n' || character == '\r') {
            character = ' ';
        }
    }
    return text;
}

} // namespace

void RecordingWriter::write(const QrxRecording& recording)
{
    for (const std::string& comment : recording.comments) {
        _text << "# " << oneLine(comment) << "\n";
    }
    writeNotes(recording);
    for (std::size_t index = 0; index < recording.interfaces.size(); ++index) {
        writeInterface(recording, index);
    }
    std::size_t current = recording.interfaces.size() - 1;
    for (const QrxRecordedEvent& event : recording.events) {
        if (event.interfaceIndex != current) {
            current = event.interfaceIndex;
            writeInterfaceSwitch(current);
        }
        writeEvent(event);
    }
}

void RecordingWriter::writeNotes(const QrxRecording& recording)
{
    writeNote("vendor-name", recording.vendorName);
    if (recording.interfaces.empty() || recording.productName != recording.interfaces.front().name) {
        _text << "#@ product-name: " << escaped(recording.productName) << "\n";
    }
    writeNote("serial-number", recording.serialNumber);
    _text << "#@ release: " << hex(recording.releaseNumber, 4) << "\n";
    _text << "#@ device-class: " << hex(recording.deviceClass, 2) << " " << hex(recording.deviceSubclass, 2) << " "
          << hex(recording.deviceProtocol, 2) << "\n";
}

void RecordingWriter::writeNote(const char* key, const std::string& value)
{
    if (!value.empty()) {
        _text << "#@ " << key << ": " << escaped(value) << "\n";
    }
}

void RecordingWriter::writeInterface(const QrxRecording& recording, std::size_t index)
{
    const QrxRecordedInterface& interface = recording.interfaces[index];
    if (recording.interfaces.size() > 1) {
        writeInterfaceSwitch(index);
    }
    _text << "#@ interface: " << interface.number << " " << hex(interface.interfaceSubclass, 2) << " "
          << hex(interface.interfaceProtocol, 2) << "\n";
    _text << "R: ";
    writeBytes(interface.reportDescriptor);
    _text << "N: " << oneLine(interface.name) << "\n"
          << "P: " << oneLine(interface.physicalPath) << "\n"
          << "I: " << hex(recording.bus, 1) << " " << hex(recording.vendorID, 4) << " " << hex(recording.productID, 4)
          << "\n";
}

void RecordingWriter::writeInterfaceSwitch(std::size_t interfaceIndex)
{
    _text << "D: " << interfaceIndex << "\n";
}

void RecordingWriter::writeEvent(const QrxRecordedEvent& event)
{
    std::array<char, 40> time{};
    std::snprintf(time.data(), time.size(), "%06llu.%06llu", static_cast<unsigned long long>(event.timeUs / 1'000'000),
                  static_cast<unsigned long long>(event.timeUs % 1'000'000));
    _text << "E: " << time.data() << " ";
    writeBytes(event.bytes);
}

void RecordingWriter::writeBytes(const std::vector<std::uint8_t>& bytes)
{
    _text << bytes.size();
    for (const std::uint8_t byte : bytes) {
        _text << " " << hex(byte, 2);
    }
    _text << "\n";
}

} // namespace qrx
