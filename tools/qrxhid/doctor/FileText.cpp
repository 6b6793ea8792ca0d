#include "doctor/FileText.h"

#include "Linux/sysfs/SysfsDirectory.h"

namespace qrxhid {

std::optional<std::string> fileText(const std::string& path)
{
    using qrx::platform::SysfsDirectory;
    // A bound on memory, far above any file of rules. The library's own means are used because they do not wait for a
    // pipe that stands in a file's place.
    constexpr std::size_t kMostBytes = std::size_t{1} << 20U;
    const std::size_t slash = path.find_last_of('/');
    SysfsDirectory folder(qrx::platform::SystemCalls::kernel());
    std::string text;
    if (folder.open(path.substr(0, slash + 1)) != SysfsDirectory::Result::done ||
        folder.read(path.substr(slash + 1), text, kMostBytes) != SysfsDirectory::Result::done) {
        return std::nullopt;
    }
    return text;
}

} // namespace qrxhid
