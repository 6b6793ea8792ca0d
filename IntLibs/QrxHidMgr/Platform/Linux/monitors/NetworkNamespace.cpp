#include "NetworkNamespace.h"

#include "Base/FileDescriptor.h"

#include <string>
#include <string_view>

#include <fcntl.h>
#include <linux/nsfs.h>

namespace qrx::platform {

namespace {

/// The number of the first user namespace is the same on every machine (the kernel's PROC_USER_INIT_INO).
constexpr std::string_view kUserNamespaceOfMachine = "user:[4026531837]";

} // namespace

bool isNetworkOfMachine(SystemCalls& calls)
{
    const FileDescriptor network(calls, calls.openAt(AT_FDCWD, "/proc/self/ns/net", O_RDONLY | O_CLOEXEC));
    // If we may not look at the owner, the container shares the machine's network.
    // The kernel sends device events to network namespaces that the first user namespace owns.
    const FileDescriptor owner(calls, network.isOpen() ? calls.control(network.get(), NS_GET_USERNS, nullptr) : -1);
    if (!owner.isOpen()) {
        return true;
    }
    char name[64];
    const std::string link = "/proc/self/fd/" + std::to_string(owner.get());
    const ssize_t size = calls.readLinkAt(AT_FDCWD, link.c_str(), name, sizeof name);
    return size <= 0 || std::string_view(name, static_cast<std::size_t>(size)) == kUserNamespaceOfMachine;
}

} // namespace qrx::platform
