// Reads of sysfs relative to an open folder. The path of a device is resolved once; files below it cost an open, a read
// and a close each. If the folder is removed meanwhile, its descriptor names nothing any more, so facts of two devices
// that follow each other in one place cannot mix.

#include "SysfsDirectory.h"

#include "Base/Uninterrupted.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>

namespace qrx::platform {

namespace {

/// sysfs hands out at most a page in one read, of binary attributes too; this is the smallest page there is.
constexpr std::size_t kPage = 4096;
/// Room for a few hundred names; larger directories take further calls.
constexpr std::size_t kListingBytes = 16384;
/// A directory of a device holds some dozens of entries and that of a bus some hundreds.
constexpr std::size_t kMostEntries = 65536;

SysfsDirectory::Result failure()
{
    // Errors fall into three kinds for the callers: the thing is gone, we lack a resource, or something else is wrong.
    // ENODEV is what sysfs answers for an attribute whose device goes at this moment.
    switch (errno) {
    case ENOENT:
    case ENOTDIR:
    case ENODEV:
    case ENXIO:
    case ELOOP:
        return SysfsDirectory::Result::gone;
    case EMFILE:
    case ENFILE:
    case ENOMEM:
        return SysfsDirectory::Result::scarce;
    default:
        return SysfsDirectory::Result::failed;
    }
}

void takeEntries(const char* bytes, std::size_t size, std::vector<SysfsDirectory::Entry>& entries)
{
    constexpr std::size_t kHeader = offsetof(dirent64, d_name);
    for (std::size_t at = 0; at + kHeader < size;) {
        ino64_t inode = 0;
        unsigned short length = 0;
        // Copied member by member: the entries are not aligned for every machine, and the buffer is bytes.
        std::memcpy(&inode, bytes + at + offsetof(dirent64, d_ino), sizeof inode);
        std::memcpy(&length, bytes + at + offsetof(dirent64, d_reclen), sizeof length);
        if (length <= kHeader || length > size - at) {
            return;
        }
        const char* name = bytes + at + kHeader;
        entries.push_back({std::string(name, ::strnlen(name, length - kHeader)), inode});
        at += length;
    }
}

} // namespace

SysfsDirectory::Result SysfsDirectory::openIn(int directory, const std::string& path)
{
    constexpr int kFlags = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
    _fd = FileDescriptor(_calls, uninterrupted([&] { return _calls.openAt(directory, path.c_str(), kFlags); }));
    return _fd.isOpen() ? Result::done : failure();
}

SysfsDirectory::Result SysfsDirectory::open(const std::string& path)
{
    return openIn(AT_FDCWD, path);
}

SysfsDirectory::Result SysfsDirectory::open(const SysfsDirectory& parent, const std::string& path)
{
    return openIn(parent._fd.get(), path);
}

SysfsDirectory::Result SysfsDirectory::list(std::vector<Entry>& entries) const
{
    // The system call and not readdir: one call for a listing of usual size, and no allocation.
    alignas(dirent64) char buffer[kListingBytes];
    entries.clear();
    // The limit only bounds the memory for a folder that is not what it seems.
    while (entries.size() < kMostEntries) {
        const ssize_t size = uninterrupted([&] { return _calls.listEntries(_fd.get(), buffer, sizeof buffer); });
        if (size < 0) {
            return failure();
        }
        if (size == 0) {
            break;
        }
        takeEntries(buffer, static_cast<std::size_t>(size), entries);
    }
    return Result::done;
}

SysfsDirectory::Result SysfsDirectory::read(const std::string& path, std::string& bytes, std::size_t limitBytes) const
{
    bytes.clear();
    const FileDescriptor file(_calls, uninterrupted([&] {
                                  // O_NONBLOCK, so that a pipe put in place of an attribute cannot stop the thread.
                                  return _calls.openAt(_fd.get(), path.c_str(),
                                                       O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
                              }));
    if (!file.isOpen()) {
        return failure();
    }
    char page[kPage];
    while (bytes.size() < limitBytes) {
        const std::size_t wanted = std::min(kPage, limitBytes - bytes.size());
        const ssize_t size = uninterrupted([&] { return _calls.read(file.get(), page, wanted); });
        if (size < 0) {
            bytes.clear();
            // EAGAIN is a pipe whose writer is silent. sysfs has no pipes, so this is no attribute.
            return errno == EAGAIN ? Result::gone : failure();
        }
        bytes.append(page, static_cast<std::size_t>(size));
        // A short read is the end of an attribute; asking again would cost a call and give 0.
        if (static_cast<std::size_t>(size) < wanted) {
            break;
        }
    }
    return Result::done;
}

SysfsDirectory::Result SysfsDirectory::link(const std::string& path, std::string& target) const
{
    char buffer[1024];
    const ssize_t size =
        uninterrupted([&] { return _calls.readLinkAt(_fd.get(), path.c_str(), buffer, sizeof buffer); });
    target.assign(buffer, size > 0 ? static_cast<std::size_t>(size) : 0);
    if (size < 0) {
        return errno == EINVAL ? Result::gone : failure(); // something else of that name is no link
    }
    return Result::done;
}

std::string SysfsDirectory::linkTarget(const std::string& path) const
{
    std::string target;
    link(path, target);
    return target.substr(target.find_last_of('/') + 1);
}

} // namespace qrx::platform
