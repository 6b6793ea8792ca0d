#include "FakeNodes.h"

#include <cerrno>
#include <string_view>
#include <system_error>

#include <fcntl.h>

namespace qrx::platform::test {

FakeNode* FakeNodes::nodeOf(int fd)
{
    const auto found = _open.find(fd);
    return found != _open.end() ? found->second.node.get() : nullptr;
}

void FakeNodes::queue(int hidraw, const Bytes& report)
{
    for (auto& [fd, open] : _open) {
        if (open.hidraw == hidraw) {
            open.node->queue(report);
        }
    }
}

void FakeNodes::unplug(int hidraw)
{
    for (auto& [fd, open] : _open) {
        if (open.hidraw == hidraw) {
            open.node->unplug();
        }
    }
}

void FakeNodes::answer(int hidraw, const Bytes& bytes)
{
    for (auto& [fd, open] : _open) {
        if (open.hidraw == hidraw) {
            open.node->answer(bytes);
        }
    }
}

std::string FakeNodes::takeRequests(int hidraw)
{
    std::string requests;
    for (auto& [fd, open] : _open) {
        if (open.hidraw == hidraw) {
            requests += open.node->takeRequests();
        }
    }
    return requests;
}

int FakeNodes::openAt(int directory, const char* path, int flags)
{
    const std::string_view name(path);
    if (directory != AT_FDCWD || !name.starts_with(_prefix)) {
        return SystemCalls::openAt(directory, path, flags);
    }
    if (exists(path) != 0) {
        return -1;
    }
    std::unique_ptr<FakeNode> node;
    try {
        node = std::make_unique<FakeNode>();
    } catch (const std::system_error& failure) {
        errno = failure.code().value();
        return -1;
    }
    const int fd = node->takeChannelEnd();
    _open[fd] = {std::stoi(std::string(name.substr(_prefix.size()))), std::move(node)};
    return fd;
}

int FakeNodes::close(int fd)
{
    _open.erase(fd);
    return SystemCalls::close(fd);
}

ssize_t FakeNodes::read(int fd, void* buffer, std::size_t size)
{
    FakeNode* const node = nodeOf(fd);
    return node != nullptr ? node->read(fd, buffer, size) : SystemCalls::read(fd, buffer, size);
}

ssize_t FakeNodes::readv(int fd, const iovec* segments, int count)
{
    FakeNode* const node = nodeOf(fd);
    return node != nullptr ? node->readv(fd, segments, count) : SystemCalls::readv(fd, segments, count);
}

ssize_t FakeNodes::readvFlagged(int fd, const iovec* segments, int count, int flags)
{
    FakeNode* const node = nodeOf(fd);
    return node != nullptr ? node->readvFlagged(fd, segments, count, flags)
                           : SystemCalls::readvFlagged(fd, segments, count, flags);
}

ssize_t FakeNodes::write(int fd, const void* bytes, std::size_t size)
{
    FakeNode* const node = nodeOf(fd);
    return node != nullptr ? node->write(fd, bytes, size) : SystemCalls::write(fd, bytes, size);
}

int FakeNodes::control(int fd, unsigned long request, void* argument)
{
    FakeNode* const node = nodeOf(fd);
    return node != nullptr ? node->control(fd, request, argument) : SystemCalls::control(fd, request, argument);
}

} // namespace qrx::platform::test
