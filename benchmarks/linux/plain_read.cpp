// The floor: the files that hold what hid_enumerate tells, read straight into one buffer. One open, one read and one
// close a file; nothing is parsed, kept or allocated.

#include "Steps.h"

#include <climits>
#include <cstdio>

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace {

/// Relative to a node of /sys/class/hidraw: identity, strings, release, interface number, report descriptor.
constexpr const char* kFiles[] = {
    "device/uevent",          "device/../../manufacturer",  "device/../../product",     "device/../../serial",
    "device/../../bcdDevice", "device/../bInterfaceNumber", "device/report_descriptor",
};

bool readOne(int directory, const char* node, const char* file)
{
    char path[PATH_MAX];
    std::snprintf(path, sizeof path, "%s/%s", node, file);
    const int fd = ::openat(directory, path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    // The longest attribute that sysfs has, and the longest report descriptor that Linux takes.
    char bytes[4096];
    const ssize_t size = ::read(fd, bytes, sizeof bytes);
    ::close(fd);
    return size > 0;
}

std::size_t readAll()
{
    const int directory = ::open("/sys/class/hidraw", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    alignas(dirent64) char entries[16384];
    std::size_t nodes = 0;
    for (ssize_t size = 0; (size = ::getdents64(directory, entries, sizeof entries)) > 0;) {
        for (ssize_t at = 0; at < size;) {
            const auto* entry = reinterpret_cast<const dirent64*>(entries + at);
            at += entry->d_reclen;
            if (entry->d_name[0] == '.') {
                continue;
            }
            bool isWhole = true;
            for (const char* file : kFiles) {
                isWhole = readOne(directory, entry->d_name, file) && isWhole;
            }
            nodes += isWhole ? 1 : 0;
        }
    }
    ::close(directory);
    return nodes;
}

void enumerate(Steps& steps, const char* name)
{
    std::size_t nodes = 0;
    steps.run(
        name, [&nodes] { nodes = readAll(); }, [&nodes] { return nodes; });
}

} // namespace

int main(int argc, char** argv)
{
    const std::size_t times = timesOf(argc, argv);
    Steps steps;
    enumerate(steps, "first");
    for (std::size_t time = 0; time < times; ++time) {
        enumerate(steps, "again");
    }
}
