#include "doctor/Surroundings.h"

#include <cstdlib>
#include <filesystem>
#include <utility>

namespace qrxhid {

namespace {

/// Files by which sandboxes and containers can be told from inside.
constexpr std::pair<const char*, const char*> kMarks[] = {
    {"/.flatpak-info", "a Flatpak sandbox"},
    {"/run/.containerenv", "a Podman container"},
    {"/.dockerenv", "a Docker container"},
    // Last, since containers of the kinds above may have it too, and their own files say more.
    {"/run/systemd/container", "a container"},
};

/// What sandboxes and containers tell the programs in them.
std::string enclosureOfEnvironment()
{
    if (std::getenv("SNAP") != nullptr) {
        return "a Snap sandbox";
    }
    const char* const container = std::getenv("container");
    return container == nullptr || *container == '\0' ? "" : std::string("a container (") + container + ")";
}

bool exists(const std::string& path)
{
    std::error_code unreadable;
    return std::filesystem::exists(path, unreadable);
}

} // namespace

// Files before the environment: a sandbox makes the former, and anybody may set the latter.
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
    // The environment is this process's and says nothing about a machine that is looked at under another root.
    if (found.enclosure.empty() && root.empty()) {
        found.enclosure = enclosureOfEnvironment();
    }
    return found;
}

} // namespace qrxhid
