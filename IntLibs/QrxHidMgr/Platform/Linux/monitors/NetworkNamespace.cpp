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
    // The kernel refuses to show an owner that is not within our own user namespace (EPERM): then the network namespace
    // belongs to one outside of the container, as where it shares the machine's network. Kernels before 4.9 show none.
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
