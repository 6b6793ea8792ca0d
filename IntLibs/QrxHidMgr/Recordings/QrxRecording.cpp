#include "QrxRecording.h"

#include "Text/ShownText.h"
#include "RecordingReader.h"
#include "RecordingRules.h"
#include "RecordingWriter.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <ostream>

namespace {

std::string placeOf(const std::string& fileName, std::size_t line)
{
    return line == 0 ? fileName : fileName + ":" + std::to_string(line);
}

} // namespace

QrxRecordingError::QrxRecordingError(const std::string& fileName, std::size_t line, const std::string& reason)
    // The message quotes bytes of the file, so it is made fit to be shown here, once for all callers.
    : std::runtime_error(qrx::shownText(placeOf(fileName, line) + ": " + reason)), _line(line)
{
}

QrxRecording QrxRecording::read(std::istream& text, const std::string& fileName)
{
    return qrx::RecordingReader(fileName).read(text);
}

QrxRecording QrxRecording::readFile(const std::string& fileName)
{
    // A stream does not promise to set errno; without this, a message could show the error of an earlier call.
    errno = 0;
    std::ifstream text(fileName);
    if (!text) {
        throw QrxRecordingError(fileName, 0, std::string("cannot be opened: ") + std::strerror(errno));
    }
    return read(text, fileName);
}

void QrxRecording::write(std::ostream& text) const
{
    qrx::checkRecording(*this);
    qrx::RecordingWriter(text).write(*this);
}

void QrxRecording::writeEvent(std::ostream& text, const QrxRecordedEvent& event, std::size_t& afterInterface) const
{
    qrx::checkEvent(*this, event);
    const bool switchesInterface = interfaces.size() > 1 && afterInterface != event.interfaceIndex;
    qrx::RecordingWriter(text).writeEvent(event, switchesInterface);
    afterInterface = event.interfaceIndex;
    // A recorder may be ended by a signal at any time; what it has written must be in the file.
    text.flush();
}
