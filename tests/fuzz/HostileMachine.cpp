#include "HostileMachine.h"

#include "SysfsTree.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

#include <asm-generic/ioctl.h>
#include <dirent.h>
#include <fcntl.h>

namespace qrx::platform::test {

namespace fs = std::filesystem;

namespace {

/// Above any descriptor that the kernel gives this program.
constexpr int kFirstFd = 1 << 20;

TreeDevice composite(const std::string& name, int hidraw)
{
    TreeDevice device;
    device.name = name;
    device.interfaces = {hidInterface(0, hidraw), hidInterface(1, hidraw + 1)};
    device.interfaces[1].name = "Second";
    return device;
}

std::string parentOf(const std::string& path)
{
    return path.substr(0, path.find_last_of('/'));
}

} // namespace

HostileMachine::HostileMachine(FuzzedDataProvider& input) : _input(input), _lastFd(kFirstFd) {}

/// What the tests' tree writes, read once into memory.
const HostileMachine::Entries& HostileMachine::beginning()
{
    static const Entries sm_Beginning = [] {
        SysfsTree tree;
        tree.plug(composite("1-1", 0));
        tree.plug(composite("1-2.4", 2));
        Entries entries;
        std::uint64_t inode = 0;
        for (const auto& file : fs::recursive_directory_iterator(tree.root())) {
            Entry& entry = entries[file.path().string().substr(tree.root().string().size())];
            entry.inode = ++inode;
            if (file.is_symlink()) {
                entry.kind = Entry::Kind::link;
                entry.text = fs::read_symlink(file.path()).string();
            } else if (file.is_directory()) {
                entry.kind = Entry::Kind::folder;
            } else {
                std::ifstream bytes(file.path(), std::ios::binary);
                entry.text.assign(std::istreambuf_iterator<char>(bytes), {});
            }
        }
        return entries;
    }();
    return sm_Beginning;
}

LinuxPaths HostileMachine::paths()
{
    LinuxPaths paths;
    paths.sysfs = "/sys";
    paths.device = "/dev";
    paths.run = "/run/udev";
    return paths;
}

void HostileMachine::restore()
{
    _entries = beginning();
}

void HostileMachine::renew()
{
    for (auto& [path, entry] : _entries) {
        entry.inode = ++_lastInode;
    }
}

std::string HostileMachine::anyText()
{
    // Not ConsumeRandomLengthString, which as a rule leaves nothing for later steps.
    return _input.ConsumeBytesAsString(_input.ConsumeIntegral<std::uint8_t>());
}

std::string HostileMachine::anyPath()
{
    if (!_looked.empty() && _input.ConsumeBool()) {
        return _looked[_input.ConsumeIntegralInRange<std::size_t>(0, _looked.size() - 1)];
    }
    if (_entries.empty()) {
        return "/";
    }
    const auto index = _input.ConsumeIntegralInRange<std::size_t>(0, _entries.size() - 1);
    return std::next(_entries.begin(), static_cast<std::ptrdiff_t>(index))->first;
}

std::string HostileMachine::eventPath()
{
    constexpr std::string_view kRoot = "/sys";
    const std::string path = _input.ConsumeBool() ? anyPath() : anyText();
    return path.starts_with(kRoot) ? path.substr(kRoot.size()) : path;
}

void HostileMachine::remove(const std::string& path)
{
    std::erase_if(_entries,
                  [&path](const auto& entry) { return entry.first == path || entry.first.starts_with(path + "/"); });
}

/// With all that is below.
void HostileMachine::copy(const std::string& path, const std::string& target)
{
    for (const auto& [name, entry] : Entries(_entries)) {
        if (name.starts_with(path + "/")) {
            _entries[target + name.substr(path.size())] = entry;
        }
    }
}

void HostileMachine::edit(std::string& text)
{
    if (text.empty() || _input.ConsumeBool()) {
        text = anyText();
        return;
    }
    text[_input.ConsumeIntegralInRange<std::size_t>(0, text.size() - 1)] = _input.ConsumeIntegral<char>();
}

void HostileMachine::change()
{
    const std::string path = anyPath();
    const auto beside = [&] { return parentOf(path) + "/" + anyText(); };
    switch (_input.ConsumeIntegralInRange(0, 9)) {
    case 0:
        return remove(path);
    case 1:
        return copy(path, beside());
    case 2:
        _entries[path] = {Entry::Kind::link, _input.ConsumeBool() ? anyPath() : eventPath(), ++_lastInode};
        return;
    case 3:
        _entries[path] = {Entry::Kind::folder, {}, ++_lastInode};
        return;
    case 4:
        _entries[path] = {_input.ConsumeBool() ? Entry::Kind::pipe : Entry::Kind::endless, {}, ++_lastInode};
        return;
    case 5:
        _entries[beside()] = {Entry::Kind::file, anyText(), ++_lastInode};
        return;
    default:
        edit(_entries[path].text);
        return;
    }
}

std::string HostileMachine::resolve(const std::string& folder, std::string path, bool followsLast) const
{
    constexpr int kMostLinks = 8;
    int links = 0;
    std::string found = path.starts_with('/') ? "" : folder;
    while (!path.empty()) {
        const std::size_t slash = path.find('/');
        const std::string name = path.substr(0, slash);
        path.erase(0, slash == std::string::npos ? slash : slash + 1);
        if (name.empty() || name == ".") {
            continue;
        }
        if (name == "..") {
            found = parentOf(found);
            continue;
        }
        const auto entry = _entries.find(found + "/" + name);
        if (entry == _entries.end()) {
            errno = ENOENT;
            return {};
        }
        if (entry->second.kind != Entry::Kind::link || (path.empty() && !followsLast)) {
            found = entry->first;
            continue;
        }
        if (++links > kMostLinks) {
            errno = ELOOP;
            return {};
        }
        found = entry->second.text.starts_with('/') ? "" : found;
        path = entry->second.text + "/" + path;
    }
    return found;
}

const HostileMachine::Entry* HostileMachine::find(int directory, const char* path, bool followsLast,
                                                  std::string& found) const
{
    errno = ENOENT;
    // What is open was found before: only the rest of the way is to be looked up.
    const auto open = _open.find(directory);
    found = resolve(open == _open.end() ? "" : open->second.path, path, followsLast);
    const auto entry = _entries.find(found);
    return entry == _entries.end() ? nullptr : &entry->second;
}

int HostileMachine::openAt(int directory, const char* path, int flags)
{
    std::string found;
    const Entry* entry = find(directory, path, true, found);
    if (entry == nullptr) {
        return -1;
    }
    if ((flags & O_DIRECTORY) != 0 && entry->kind != Entry::Kind::folder) {
        errno = ENOTDIR;
        return -1;
    }
    _open[++_lastFd] = {found, 0};
    constexpr std::size_t kMostLooked = 255;
    if (_looked.size() < kMostLooked && std::find(_looked.begin(), _looked.end(), found) == _looked.end()) {
        _looked.push_back(found);
    }
    return _lastFd;
}

int HostileMachine::close(int fd)
{
    return _open.erase(fd) != 0 ? 0 : SystemCalls::close(fd);
}

bool HostileMachine::isNode(int fd) const
{
    const auto open = _open.find(fd);
    return open != _open.end() && open->second.path.starts_with("/dev/");
}

/// What comes of a report node: bytes, nothing yet, or an error.
ssize_t HostileMachine::answerOfNode(void* buffer, std::size_t size)
{
    if (_input.ConsumeBool()) {
        errno = _input.PickValueInArray({EAGAIN, EIO, ENODEV, EINVAL, EOPNOTSUPP, ENOMEM});
        return -1;
    }
    return static_cast<ssize_t>(_input.ConsumeData(buffer, std::min(size, _input.ConsumeIntegral<std::size_t>())));
}

ssize_t HostileMachine::read(int fd, void* buffer, std::size_t size)
{
    const auto open = _open.find(fd);
    if (open == _open.end()) {
        return SystemCalls::read(fd, buffer, size);
    }
    if (isNode(fd)) {
        return answerOfNode(buffer, size);
    }
    const auto entry = _entries.find(open->second.path);
    if (entry == _entries.end()) {
        errno = ENODEV;
        return -1;
    }
    switch (entry->second.kind) {
    case Entry::Kind::folder:
        errno = EISDIR;
        return -1;
    case Entry::Kind::pipe:
        errno = EAGAIN;
        return -1;
    case Entry::Kind::endless:
        std::memset(buffer, '7', size);
        return static_cast<ssize_t>(size);
    default:
        break;
    }
    std::size_t& offset = open->second.offset;
    const std::string& text = entry->second.text;
    const std::size_t count = std::min(size, text.size() - std::min(offset, text.size()));
    text.copy(static_cast<char*>(buffer), count, offset);
    offset += count;
    return static_cast<ssize_t>(count);
}

ssize_t HostileMachine::readv(int, const iovec* segments, int count)
{
    ssize_t sum = 0;
    for (int index = 0; index < count; ++index) {
        const ssize_t size = answerOfNode(segments[index].iov_base, segments[index].iov_len);
        if (size < 0) {
            return sum > 0 ? sum : -1;
        }
        sum += size;
        if (static_cast<std::size_t>(size) < segments[index].iov_len) {
            break;
        }
    }
    return sum;
}

ssize_t HostileMachine::readvFlagged(int fd, const iovec* segments, int count, int)
{
    if (_input.ConsumeBool()) {
        errno = EOPNOTSUPP;
        return -1;
    }
    return readv(fd, segments, count);
}

ssize_t HostileMachine::write(int fd, const void* bytes, std::size_t size)
{
    if (!isNode(fd)) {
        return SystemCalls::write(fd, bytes, size);
    }
    errno = EPIPE;
    return _input.ConsumeBool() ? static_cast<ssize_t>(size) : -1;
}

int HostileMachine::control(int, unsigned long request, void* argument)
{
    return static_cast<int>(answerOfNode(argument, _IOC_SIZE(request)));
}

ssize_t HostileMachine::listEntries(int directory, void* buffer, std::size_t size)
{
    const auto open = _open.find(directory);
    if (open == _open.end() || open->second.offset++ != 0) {
        return 0;
    }
    const std::string prefix = open->second.path + "/";
    auto* at = static_cast<char*>(buffer);
    for (auto entry = _entries.lower_bound(prefix); entry != _entries.end() && entry->first.starts_with(prefix);
         ++entry) {
        const std::string name = entry->first.substr(prefix.size());
        const std::size_t header = offsetof(dirent64, d_name);
        const auto length = static_cast<unsigned short>((header + name.size() + 1 + 7) / 8 * 8);
        if (name.find('/') != std::string::npos || at + length > static_cast<char*>(buffer) + size) {
            continue;
        }
        std::memset(at, 0, length);
        std::memcpy(at + offsetof(dirent64, d_ino), &entry->second.inode, sizeof entry->second.inode);
        std::memcpy(at + offsetof(dirent64, d_reclen), &length, sizeof length);
        name.copy(at + header, name.size());
        at += length;
    }
    return at - static_cast<char*>(buffer);
}

ssize_t HostileMachine::readLinkAt(int directory, const char* path, char* buffer, std::size_t size)
{
    std::string found;
    const Entry* entry = find(directory, path, false, found);
    if (entry == nullptr || entry->kind != Entry::Kind::link) {
        errno = entry == nullptr ? ENOENT : EINVAL;
        return -1;
    }
    return static_cast<ssize_t>(entry->text.copy(buffer, size));
}

int HostileMachine::status(const char* path, struct stat& facts)
{
    facts = {};
    facts.st_ctim.tv_sec = _input.ConsumeIntegral<std::int32_t>();
    facts.st_rdev = _input.ConsumeIntegral<std::uint16_t>();
    return exists(path);
}

int HostileMachine::exists(const char* path)
{
    std::string found;
    return find(AT_FDCWD, path, true, found) != nullptr ? 0 : -1;
}

bool HostileMachine::isSysfs(int)
{
    return _input.ConsumeBool();
}

int HostileMachine::inotifyCreate()
{
    errno = ENOSYS;
    return -1;
}

} // namespace qrx::platform::test
