#include "commands/RecordingOutput.h"

#include "commands/OutputFile.h"
#include "text/Notice.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace qrxhid {

RecordingOutput::RecordingOutput(const std::string& fileName, std::ostream& standardOutput)
    : _fileName(fileName), _stream(isFile() ? _file : standardOutput)
{
}

bool RecordingOutput::isSameFileAs(const std::string& inputName) const
{
    return isSameFile(_fileName, inputName);
}

bool RecordingOutput::open()
{
    if (isFile()) {
        _file.open(_fileName);
        if (!_file) {
            notice(_fileName + " cannot be opened: " + std::strerror(errno));
            return false;
        }
        _wholeBytes = 0;
    }
    return true;
}

bool RecordingOutput::isTerminal() const
{
    return !isFile() && isatty(STDOUT_FILENO) != 0;
}

void RecordingOutput::keep()
{
    if (_stream.flush()) {
        // Up to here the output is a recording that can be read: after a whole event. -1 for a pipe.
        _wholeBytes = _stream.tellp();
    }
}

bool RecordingOutput::close()
{
    const bool isWritten = !_stream.flush().fail();
    if (!isWritten) {
        cut();
    }
    if (isFile() && !isWritten) {
        // For standard output main says so.
        notice(_fileName + " cannot be written");
        return false;
    }
    return true;
}

void RecordingOutput::cut()
{
    // Before the cut: closing tries once more to write what the stream still has.
    _file.close();
    if (_wholeBytes < 0) {
        return;
    }
    std::error_code error;
    if (!isFile()) {
        // This fails for a pipe or a terminal, where nothing can be taken back.
        if (::ftruncate(STDOUT_FILENO, _wholeBytes) == 0) {
            ::lseek(STDOUT_FILENO, _wholeBytes, SEEK_SET);
        }
    } else if (std::filesystem::is_regular_file(_fileName, error)) {
        std::filesystem::resize_file(_fileName, static_cast<std::uintmax_t>(_wholeBytes), error);
    }
}

} // namespace qrxhid
