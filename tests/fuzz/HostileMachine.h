#pragma once

#include "Base/SystemCalls.h"
#include "Linux/LinuxProvider.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace qrx::platform::test {

/// The parts of /sys, /dev and /run that belong to two composite devices, in memory. The input decides what becomes of
/// them: every file may be anything, and so may every answer of a report node. Timers and sets of descriptors are the
/// kernel's.
class HostileMachine : public SystemCalls {
public:
    /// `input` must outlive this.
    explicit HostileMachine(FuzzedDataProvider& input);

    LinuxPaths paths();
    /// Makes something of one file, folder or link.
    void change();
    /// Everything is as at the beginning.
    void restore();
    /// Everything is another one of the same name, as when a device was exchanged.
    void renew();
    /// One of the paths that are there or were looked at, or any text; without the root of sysfs, as an event has it.
    std::string eventPath();
    /// Up to 255 bytes.
    std::string anyText();

    int openAt(int directory, const char* path, int flags) override;
    int close(int fd) override;
    ssize_t read(int fd, void* buffer, std::size_t size) override;
    ssize_t readv(int fd, const iovec* segments, int count) override;
    ssize_t readvFlagged(int fd, const iovec* segments, int count, int flags) override;
    ssize_t write(int fd, const void* bytes, std::size_t size) override;
    int control(int fd, unsigned long request, void* argument) override;
    ssize_t listEntries(int directory, void* buffer, std::size_t size) override;
    ssize_t readLinkAt(int directory, const char* path, char* buffer, std::size_t size) override;
    int status(const char* path, struct stat& facts) override;
    int exists(const char* path) override;
    bool isSysfs(int directory) override;
    int inotifyCreate() override;

private:
    struct Entry {
        enum class Kind { file, folder, link, pipe, endless };

        Kind kind = Kind::file;
        /// The bytes of a file, the target of a link.
        std::string text;
        std::uint64_t inode = 0;
    };
    struct Open {
        std::string path;
        std::size_t offset = 0;
    };
    /// By path; a folder comes before what is in it.
    using Entries = std::map<std::string, Entry>;

    static const Entries& beginning();
    /// Follows links; empty with errno if it leads nowhere.
    std::string resolve(const std::string& folder, std::string path, bool followsLast) const;
    /// Null with errno if there is no such thing.
    const Entry* find(int directory, const char* path, bool followsLast, std::string& found) const;
    std::string anyPath();
    void copy(const std::string& path, const std::string& target);
    void edit(std::string& text);
    void remove(const std::string& path);
    ssize_t answerOfNode(void* buffer, std::size_t size);
    bool isNode(int fd) const;

    FuzzedDataProvider& _input;
    Entries _entries = beginning();
    std::map<int, Open> _open;
    /// Files and folders that were opened: what stands there matters.
    std::vector<std::string> _looked;
    int _lastFd;
    std::uint64_t _lastInode = 1000;
};

} // namespace qrx::platform::test
