#pragma once

#include "vhci/UsbDescription.h"

#include <chrono>
#include <string>
#include <vector>

namespace qrx::guest {

/// A USB device made by the kernel's own gadget drivers (dummy_hcd and f_hid): a second implementation of the device's
/// side, independent of ours. Its interfaces are what f_hid knows: HID only, at most 4 in the whole system, output by
/// the interrupt endpoint (or SET_REPORT without one), no feature reports.
///
/// Not for use from several threads. Unplugged and taken apart when destroyed.
class HidGadget {
public:
    /// `name` is the gadget's folder below configfs. Of an interface the descriptor, subclass, protocol, hasOutEndpoint
    /// and maximumPacket (as report length) count. Throws std::runtime_error if the kernel refuses.
    HidGadget(const std::string& name, const UsbIdentity& identity, const std::vector<UsbInterface>& interfaces);
    ~HidGadget();
    HidGadget(const HidGadget&) = delete;
    HidGadget& operator=(const HidGadget&) = delete;

    /// Plugs it into the first virtual controller. Throws std::runtime_error if the kernel refuses.
    void plug();
    /// Pulls it.
    void unplug();
    /// Writes an input report; the call returns when the host has taken the one before it. Returns 0 or the errno
    /// value.
    int sendInput(std::size_t interface, const Bytes& bytes);
    /// The next output report, waiting for it; empty if none came.
    Bytes readOutput(std::size_t interface, std::chrono::milliseconds limit = std::chrono::seconds(10));

private:
    void makeStrings(const UsbIdentity& identity);
    void makeFunction(std::size_t number, const UsbInterface& interface);
    std::string functionPath(std::size_t number) const;
    int openNode(std::size_t interface);

    std::string _path;
    std::size_t _functions = 0;
    std::vector<int> _nodes;
    bool _plugged = false;
};

} // namespace qrx::guest
