#include "ChildProcess.h"

#include "support/GuestFiles.h"
#include "support/Waiting.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <filesystem>
#include <stdexcept>

#include <fcntl.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace qrx::guest {

namespace {

std::size_t linesThatBegin(const std::string& text, const std::string& start)
{
    std::size_t count = 0;
    for (std::size_t line = 0; line < text.size();) {
        const std::size_t end = text.find('\n', line);
        if (end == std::string::npos) {
            break;
        }
        count += text.compare(line, start.size(), start) == 0 ? 1 : 0;
        line = end + 1;
    }
    return count;
}

/// Between fork and exec only what a program of several threads may still do there.
[[noreturn]] void become(int output, unsigned userID, char* const* arguments)
{
    ::dup2(output, STDOUT_FILENO);
    ::dup2(output, STDERR_FILENO);
    if (userID == 0 || (::setgid(userID) == 0 && ::setuid(userID) == 0)) {
        ::execv(arguments[0], arguments);
    }
    ::_exit(127);
}

} // namespace

ChildProcess::ChildProcess(std::vector<std::string> words, unsigned userID)
{
    std::vector<char*> arguments;
    for (std::string& word : words) {
        arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::runtime_error("no pipe");
    }
    _child = ::fork();
    if (_child == 0) {
        become(ends[1], userID, arguments.data());
    }
    ::close(ends[1]);
    _fd = ends[0];
    if (_child < 0) {
        ::close(_fd);
        throw std::runtime_error("no process");
    }
}

ChildProcess::~ChildProcess()
{
    if (_child > 0) {
        ::kill(_child, SIGKILL);
        ::waitpid(_child, nullptr, 0);
    }
    ::close(_fd);
}

bool ChildProcess::readSome(int timeoutMs)
{
    pollfd entry{_fd, POLLIN, 0};
    if (::poll(&entry, 1, timeoutMs) <= 0) {
        return true;
    }
    std::array<char, 4096> block;
    const ssize_t count = ::read(_fd, block.data(), block.size());
    if (count > 0) {
        _output.append(block.data(), static_cast<std::size_t>(count));
    }
    return count > 0;
}

const std::string& ChildProcess::readUntil(const std::function<bool(const std::string&)>& isEnough)
{
    const auto deadline = std::chrono::steady_clock::now() + kPatience;
    while (!isEnough(_output) && std::chrono::steady_clock::now() < deadline && readSome(100)) {
    }
    return _output;
}

bool ChildProcess::waitForLines(const std::string& start, std::size_t count)
{
    readUntil([&](const std::string& text) { return linesThatBegin(text, start) >= count; });
    return linesThatBegin(_output, start) >= count;
}

std::vector<std::string> ChildProcess::openFiles() const
{
    const std::string folder = "/proc/" + std::to_string(_child) + "/fd";
    std::vector<std::string> files;
    for (const std::string& name : listFolder(folder)) {
        std::error_code error;
        files.push_back(std::filesystem::read_symlink(folder + "/" + name, error));
    }
    return files;
}

std::size_t ChildProcess::openNodes() const
{
    const std::vector<std::string> files = openFiles();
    const auto isNode = [](const std::string& file) { return file.starts_with("/dev/hidraw"); };
    return static_cast<std::size_t>(std::count_if(files.begin(), files.end(), isNode));
}

void ChildProcess::pause()
{
    ::kill(_child, SIGSTOP);
    int status = 0;
    ::waitpid(_child, &status, WUNTRACED);
}

void ChildProcess::resume()
{
    ::kill(_child, SIGCONT);
}

int ChildProcess::end()
{
    ::kill(_child, SIGTERM);
    while (readSome(static_cast<int>(kPatience.count()))) {
    }
    int status = 0;
    ::waitpid(_child, &status, 0);
    _child = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace qrx::guest
