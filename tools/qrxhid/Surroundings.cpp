#include "Surroundings.h"

#include <filesystem>
#include <utility>

namespace qrxhid {

namespace {

/// Files by which sandboxes and containers can be told from inside.
constexpr std::pair<const char*, const char*> kMarks[] = {
    {"/.flatpak-info", "a Flatpak sandbox"},
    {"/run/.containerenv", "a Podman container"},
    {"/.dockerenv", "a Docker container"},
    {"/run/systemd/container", "a container"},
};

bool exists(const std::string& path)
{
    std::error_code unreadable;
    return std::filesystem::exists(path, unreadable);
}

} // namespace

Surroundings Surroundings::examine(const std::string& root)
{
    Surroundings found;
    found.hasUsb = exists(root + "/sys/bus/usb");
    found.hasUdevd = exists(root + "/run/udev/control");
    for (const auto& [file, name] : kMarks) {
        if (exists(root + file)) {
            found.enclosure = name;
            break;
        }
    }
    return found;
}

} // namespace qrxhid
