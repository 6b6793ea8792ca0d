#pragma once

#include <fstream>
#include <iosfwd>
#include <string>

namespace qrxhid {

/// Where a recording goes: a file, or standard output. A disk that is full in the middle of a line leaves no half line,
/// which nothing could read: it is cut off again.
class RecordingOutput {
public:
    /// An empty name or "-" is standard output. Nothing is opened yet.
    RecordingOutput(const std::string& fileName, std::ostream& standardOutput);

    /// Whether `inputName` names the same file, by whatever way; "-" is standard input.
    bool isSameFileAs(const std::string& inputName) const;

    /// Empties the file; what it held is lost. Says on standard error why it cannot, and false.
    bool open();
    std::ostream& stream() const { return _stream; }
    /// Whether a person sees what is written.
    bool isTerminal() const;
    /// What has been written up to now is whole.
    void keep();
    /// Writes out what is left, or cuts off what is not whole. Says on standard error that a file could not be written,
    /// and false; of standard output the caller takes care.
    bool close();

private:
    bool isFile() const { return !_fileName.empty() && _fileName != "-"; }
    void cut();

    std::string _fileName;
    std::ofstream _file;
    std::ostream& _stream;
    /// Bytes up to the end of what is whole; -1 where that is not known, and nothing may be cut.
    std::streamoff _wholeBytes = -1;
};

} // namespace qrxhid
