#pragma once

#include "support/GuestFiles.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace qrx::guest {

/// Messages between the virtual host controller and a device, the USB/IP protocol after its handshake: a header of 48
/// bytes, big endian, then the data of an OUT submit or an IN answer.
///
///   0 command   4 sequence number   8 device   12 direction (1 = IN)   16 endpoint
///   submit:      20 flags   24 length   28 start frame   32 packets   36 interval   40 setup packet
///   unlink:      20 sequence number of the transfer
///   their answers: 20 status   24 length   28 start frame   32 packets   36 errors
enum class UsbIpCommand : std::uint32_t { submit = 1, unlink = 2, submitAnswer = 3, unlinkAnswer = 4 };

inline constexpr std::size_t kUsbIpHeaderBytes = 48;

/// The eight bytes that open a control transfer (USB 2.0, 9.3).
struct SetupPacket {
    std::uint8_t requestType = 0;
    std::uint8_t request = 0;
    std::uint16_t value = 0;
    std::uint16_t index = 0;
    std::uint16_t length = 0;
};

/// A transfer that the host wants.
struct UsbSubmit {
    std::uint32_t sequence = 0;
    bool in = false;
    std::uint32_t endpoint = 0;
    /// How much it takes, or sends.
    std::uint32_t length = 0;
    SetupPacket setup;
    /// What an OUT transfer carries.
    Bytes data;
};

/// Reads the header of a message.
struct UsbIpHeader {
    explicit UsbIpHeader(const std::uint8_t* bytes);

    /// Bytes that follow the header.
    std::size_t dataBytes() const;

    UsbIpCommand command;
    UsbSubmit submit;
    /// Names the transfer to unlink.
    std::uint32_t unlinkSequence;
};

/// The answer to a submit: `status` 0 or a negative errno value. `data` follows if the transfer was IN; of an OUT
/// transfer `length` bytes were taken.
Bytes submitAnswer(std::uint32_t sequence, std::int32_t status, std::uint32_t length, const Bytes& data);
Bytes unlinkAnswer(std::uint32_t sequence, std::int32_t status);

} // namespace qrx::guest
