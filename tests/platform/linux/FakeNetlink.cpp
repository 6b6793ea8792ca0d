#include "FakeNetlink.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <linux/netlink.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

using qrx::platform::test::FaultyCalls;

/// The group that the kernel sends to.
constexpr unsigned kKernelGroup = 1;

FaultyCalls* sm_Calls = nullptr;
/// libudev's end and ours; -1 while there is no socket.
int sm_Socket = -1;
int sm_Kernel = -1;

bool isOurs(int fd)
{
    return sm_Calls != nullptr && fd >= 0 && fd == sm_Socket;
}

template <typename... Arguments>
long kernelCall(long number, Arguments... arguments)
{
    return ::syscall(number, arguments...);
}

/// Whom a message comes from: the kernel, as root.
void sign(msghdr& message)
{
    sockaddr_nl sender{};
    sender.nl_family = AF_NETLINK;
    sender.nl_groups = kKernelGroup;
    message.msg_namelen = std::min<socklen_t>(message.msg_namelen, sizeof sender);
    std::memcpy(message.msg_name, &sender, message.msg_namelen);
    const ucred credentials{0, 0, 0};
    cmsghdr* const header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_CREDENTIALS;
    header->cmsg_len = CMSG_LEN(sizeof credentials);
    std::memcpy(CMSG_DATA(header), &credentials, sizeof credentials);
    message.msg_controllen = header->cmsg_len;
}

} // namespace

extern "C" {

int socket(int domain, int type, int protocol) noexcept
{
    if (sm_Calls == nullptr || domain != AF_NETLINK || protocol != NETLINK_KOBJECT_UEVENT) {
        return static_cast<int>(kernelCall(SYS_socket, domain, type, protocol));
    }
    if (!sm_Calls->begin("netlink_socket")) {
        return -1;
    }
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends) != 0) {
        return -1;
    }
    ::close(sm_Kernel);
    sm_Socket = ends[0];
    sm_Kernel = ends[1];
    return sm_Socket;
}

int bind(int fd, const sockaddr* address, socklen_t length) noexcept
{
    if (isOurs(fd)) {
        return sm_Calls->begin("netlink_bind") ? 0 : -1;
    }
    return static_cast<int>(kernelCall(SYS_bind, fd, address, length));
}

int getsockname(int fd, sockaddr* address, socklen_t* length) noexcept
{
    if (!isOurs(fd)) {
        return static_cast<int>(kernelCall(SYS_getsockname, fd, address, length));
    }
    if (!sm_Calls->begin("netlink_getsockname")) {
        return -1;
    }
    sockaddr_nl own{};
    own.nl_family = AF_NETLINK;
    own.nl_pid = static_cast<unsigned>(::getpid());
    std::memcpy(address, &own, std::min<std::size_t>(*length, sizeof own));
    *length = sizeof own;
    return 0;
}

int setsockopt(int fd, int level, int name, const void* value, socklen_t length) noexcept
{
    if (isOurs(fd)) {
        return sm_Calls->begin("netlink_setsockopt") ? 0 : -1;
    }
    return static_cast<int>(kernelCall(SYS_setsockopt, fd, level, name, value, length));
}

ssize_t recv(int fd, void* buffer, std::size_t size, int flags)
{
    if (isOurs(fd) && !sm_Calls->begin("netlink_recv")) {
        return -1;
    }
    return kernelCall(SYS_recvfrom, fd, buffer, size, flags, nullptr, nullptr);
}

ssize_t recvmsg(int fd, msghdr* message, int flags)
{
    if (!isOurs(fd)) {
        return kernelCall(SYS_recvmsg, fd, message, flags);
    }
    if (!sm_Calls->begin("netlink_recvmsg")) {
        return -1;
    }
    msghdr plain{};
    plain.msg_iov = message->msg_iov;
    plain.msg_iovlen = message->msg_iovlen;
    const long size = kernelCall(SYS_recvmsg, fd, &plain, flags);
    if (size >= 0) {
        sign(*message);
    }
    return size;
}

} // extern "C"

namespace qrx::platform::test {

FakeNetlink::FakeNetlink(FaultyCalls& calls)
{
    if (sm_Calls != nullptr) {
        throw std::logic_error("one at a time");
    }
    sm_Calls = &calls;
}

FakeNetlink::~FakeNetlink()
{
    ::close(sm_Kernel);
    sm_Kernel = sm_Socket = -1;
    sm_Calls = nullptr;
}

void FakeNetlink::tell(const std::string& action, const std::string& subsystem, const std::string& type,
                       const std::string& path)
{
    static int sm_Number = 0;
    std::string message = action + "@" + path;
    const auto add = [&message](const std::string& name, const std::string& value) {
        message += '\0' + name + "=" + value;
    };
    add("ACTION", action);
    add("DEVPATH", path);
    add("SUBSYSTEM", subsystem);
    if (!type.empty()) {
        add("DEVTYPE", type);
    }
    add("SEQNUM", std::to_string(++sm_Number));
    send(message + '\0');
}

void FakeNetlink::send(const std::string& bytes)
{
    // As with the kernel, whoever does not listen hears nothing.
    if (sm_Kernel >= 0 && ::send(sm_Kernel, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0 && errno != EPIPE) {
        throw std::runtime_error("the event socket is full");
    }
}

} // namespace qrx::platform::test
