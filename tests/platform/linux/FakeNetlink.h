#pragma once

#include "FaultyCalls.h"

#include <string>

namespace qrx::platform::test {

/// The kernel's event socket, as libudev meets it: while this lives, every socket of that family is ours, and the calls
/// on it are counted among those of `calls`, which may make them fail. This program's own socket, bind, recv and so on
/// come before those of the C library; all other sockets they leave alone.
///
/// One at a time; libudev is used on one thread meanwhile.
class FakeNetlink {
public:
    explicit FakeNetlink(FaultyCalls& calls);
    ~FakeNetlink();
    FakeNetlink(const FakeNetlink&) = delete;
    FakeNetlink& operator=(const FakeNetlink&) = delete;

    /// The kernel's message to whoever listens: "add", "usb", "usb_device" or nothing, "/devices/...".
    void tell(const std::string& action, const std::string& subsystem, const std::string& type,
              const std::string& path);
    /// A message that is no event.
    void send(const std::string& bytes);
};

} // namespace qrx::platform::test
