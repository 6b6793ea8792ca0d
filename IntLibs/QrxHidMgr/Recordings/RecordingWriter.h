#pragma once

#include "QrxRecording.h"

#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>

namespace qrx {

/// Writes recordings; see QrxRecording for the format. The stream is the caller's; neither its flags nor its locale
/// change what is written. What is written must keep the rules of RecordingRules.h.
class RecordingWriter {
public:
    explicit RecordingWriter(std::ostream& text) : _text(text) {}
    /// Writes all of it. The stream's state is the caller's to check: a stream that has failed ignores the rest.
    void write(const QrxRecording& recording);
    /// Hands one event over at once, with a "D:" line before it if asked, so that no half of it is written alone.
    void writeEvent(const QrxRecordedEvent& event, bool switchesInterface);

private:
    void addComment(const std::string& comment);
    void addNotes(const QrxRecording& recording);
    void addNote(std::string_view key, const std::string& value);
    void addInterface(const QrxRecording& recording, std::size_t index);
    void addText(std::string_view start, std::string_view noteKey, const std::string& text);
    void addInterfaceSwitch(std::size_t interfaceIndex);
    void addBytes(const std::vector<std::uint8_t>& bytes);
    void handOver();

    std::ostream& _text;
    /// Lines that the stream has not got yet.
    std::string _lines;
};

} // namespace qrx
