#include "commands/OutputFile.h"

#include "text/Notice.h"

#include <cerrno>
#include <cstring>
#include <initializer_list>

#include <fcntl.h>
#include <unistd.h>

namespace qrxhid {

namespace {

std::filesystem::path targetOf(const std::string& name)
{
    std::error_code error;
    // Through links: the file that a link names is replaced, and the link stays.
    const std::filesystem::path target = std::filesystem::weakly_canonical(name, error);
    return error ? std::filesystem::path(name) : target;
}

/// 0 or the reason why it cannot be made. Never a file or link that somebody else has put there.
int createNew(const std::filesystem::path& path)
{
    // Less what the umask takes away, as for any file of this user.
    constexpr mode_t kMode = 0666;
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kMode);
    if (descriptor < 0) {
        return errno;
    }
    ::close(descriptor);
    return 0;
}

} // namespace

bool isSameFile(const std::string& output, const std::string& input)
{
    const std::filesystem::path read = input == "-" ? "/dev/stdin" : input;
    std::error_code error;
    return !output.empty() && output != "-" && std::filesystem::is_regular_file(output, error) &&
           std::filesystem::equivalent(output, read, error);
}

HeldSignals::HeldSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    for (const int number : {SIGINT, SIGTERM}) {
        sigaddset(&signals, number);
    }
    sigprocmask(SIG_BLOCK, &signals, &_before);
}

HeldSignals::~HeldSignals()
{
    sigprocmask(SIG_SETMASK, &_before, nullptr);
}

OutputFile::OutputFile(const std::string& name) : _name(name), _target(targetOf(name))
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(_target, error);
    // A device file or a pipe is written to as it is: there is nothing to put in its place.
    if (!std::filesystem::exists(status) || std::filesystem::is_regular_file(status)) {
        // The number of this process keeps two of them from writing into one file.
        std::filesystem::path temporary = _target;
        temporary += "." + std::to_string(::getpid()) + ".part";
        _held.emplace();
        _openError = createNew(temporary);
        if (_openError != 0) {
            return;
        }
        _temporary = temporary;
    }
    _stream.open(_temporary.empty() ? _target : _temporary, std::ios::binary);
    _openError = _stream ? 0 : errno;
}

OutputFile::~OutputFile()
{
    std::error_code ignored;
    if (!_temporary.empty()) {
        std::filesystem::remove(_temporary, ignored);
    }
}

bool OutputFile::commit()
{
    if (_openError != 0) {
        return fail("opened", _openError);
    }
    _stream.close();
    if (!_stream) {
        return fail("written", errno);
    }
    std::error_code error;
    if (!_temporary.empty()) {
        // Whoever reads the file meanwhile has the earlier one or the new one, never a part.
        std::filesystem::rename(_temporary, _target, error);
    }
    return !error || fail("written", error.value());
}

bool OutputFile::fail(const char* what, int error)
{
    notice(_name + " cannot be " + what + ": " + std::strerror(error));
    return false;
}

} // namespace qrxhid
