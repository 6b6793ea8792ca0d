#include "NetworkNamespace.h"

#include <fcntl.h>
#include <linux/nsfs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrx::platform {

namespace {

/// The inode of the first user namespace is the same on every machine (the kernel's PROC_USER_INIT_INO).
constexpr ino_t kUserNamespaceOfMachine = 0xEFFFFFFD;

} // namespace

bool isNetworkOfMachine()
{
    const int network = ::open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
    if (network < 0) {
        return true;
    }
    const int owner = ::ioctl(network, NS_GET_USERNS);
    ::close(network);
    if (owner < 0) {
        // The owner is none of ours to look at: a container that shares the machine's network.
        return true;
    }
    struct stat facts {};
    const bool isMachine = ::fstat(owner, &facts) != 0 || facts.st_ino == kUserNamespaceOfMachine;
    ::close(owner);
    return isMachine;
}

} // namespace qrx::platform
