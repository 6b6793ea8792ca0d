#pragma once

#include "QrxRecording.h"

#include <cstddef>
#include <iosfwd>
#include <string>

namespace qrx {

/// Writes recordings; see QrxRecording for the format. The stream is the caller's.
class RecordingWriter {
public:
    explicit RecordingWriter(std::ostream& text) : _text(text) {}
    void write(const QrxRecording& recording);
    void writeInterfaceSwitch(std::size_t interfaceIndex);
    void writeEvent(const QrxRecordedEvent& event);

private:
    void writeNotes(const QrxRecording& recording);
    void writeNote(const char* key, const std::string& value);
    void writeInterface(const QrxRecording& recording, std::size_t index);
    void writeBytes(const std::vector<std::uint8_t>& bytes);

    std::ostream& _text;
};

} // namespace qrx
