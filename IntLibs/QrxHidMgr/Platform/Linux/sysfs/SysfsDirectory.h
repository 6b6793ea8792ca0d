#pragma once

#include "Base/FileDescriptor.h"
#include "Base/SystemCalls.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qrx::platform {

/// One directory of sysfs, open: its files are reached relative to it, so that all that is read belongs to the same
/// device even if another one takes the name meanwhile (the files of a removed device are gone for good).
class SysfsDirectory {
public:
    struct Entry {
        std::string name;
        /// sysfs gives ascending numbers, and none twice while the machine runs: on 64-bit machines since Linux 5.5.
        /// Earlier kernels may give the number of something that has gone again.
        std::uint64_t inode = 0;
    };

    /// What became of a request. `gone`: there is no such thing (any more). The others say nothing about the device:
    /// `scarce`: the process has no descriptor or the kernel no memory left; `failed`: an I/O error, say.
    enum class Result { done, gone, scarce, failed };

    explicit SysfsDirectory(SystemCalls& calls) : _calls(calls) {}

    /// Opens a directory by its path.
    Result open(const std::string& path);
    /// Opens a directory below another one.
    Result open(const SysfsDirectory& parent, const std::string& path);

    /// All entries; "." carries the directory's own inode.
    Result list(std::vector<Entry>& entries) const;

    /// The file's bytes, at most `limitBytes`: one open, one read (another only for each full page), one close. The
    /// file need not exist.
    Result read(const std::string& path, std::string& bytes, std::size_t limitBytes = kTextLimit) const;

    /// A symbolic link's target.
    Result link(const std::string& path, std::string& target) const;
    /// The last component of it; empty if there is no such link.
    std::string linkTarget(const std::string& path) const;

    bool isSysfs() const { return _calls.isSysfs(_fd.get()); }

    /// sysfs gives text attributes as one page.
    static constexpr std::size_t kTextLimit = 4096;

private:
    Result openIn(int directory, const std::string& path);

    SystemCalls& _calls;
    FileDescriptor _fd;
};

} // namespace qrx::platform
