#pragma once

#include "QrxRecording.h"

#include <cstddef>
#include <iosfwd>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace qrx {

/// Reads one recording; see QrxRecording for the format. Used once.
class RecordingReader {
public:
    explicit RecordingReader(const std::string& fileName) : _fileName(fileName) {}
    QrxRecording read(std::istream& text);

private:
    [[noreturn]] void fail(const std::string& reason) const;

    void readLine(std::string_view line);
    void readComment(std::string_view text);
    void readNote(std::string_view key, std::string_view value);
    void readReleaseNote(std::string_view value);
    void readDeviceClassNote(std::string_view value);
    void readInterfaceNote(std::string_view value);
    void switchInterface(std::string_view value);
    void readDescriptor(std::string_view value);
    void readIdentity(std::string_view value);
    void readEvent(std::string_view value);
    void finish();

    QrxRecordedInterface& currentInterface();
    /// A text of a line without escapes.
    std::string checkedText(std::string text) const;
    /// A text of a note, which has escapes.
    std::string noteText(std::string_view value) const;
    std::vector<std::uint8_t> readBytes(std::string_view value, const char* what) const;
    std::uint64_t readTime(std::string_view value) const;

    std::string _fileName;
    std::size_t _line = 0;
    QrxRecording _recording;
    /// The text of the D: lines, and the index of the interface that each stands for.
    std::map<std::string, std::size_t, std::less<>> _interfaceByName;
    std::string _currentName = "0";
    bool _hasIdentity = false;
    bool _hasProductName = false;
    std::set<std::size_t> _describedInterfaces;
};

} // namespace qrx
