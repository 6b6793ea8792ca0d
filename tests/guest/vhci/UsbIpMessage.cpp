#include "vhci/UsbIpMessage.h"

namespace qrx::guest {

namespace {

std::uint32_t wordAt(const std::uint8_t* bytes, std::size_t offset)
{
    return std::uint32_t{bytes[offset]} << 24 | std::uint32_t{bytes[offset + 1]} << 16 |
           std::uint32_t{bytes[offset + 2]} << 8 | std::uint32_t{bytes[offset + 3]};
}

void putWord(Bytes& bytes, std::size_t offset, std::uint32_t value)
{
    for (unsigned index = 0; index < 4; ++index)
        bytes[offset + index] = static_cast<std::uint8_t>(value >> (24 - 8 * index));
}

/// The setup packet is little endian, as on the wire.
SetupPacket setupAt(const std::uint8_t* bytes)
{
    const auto shortAt = [bytes](std::size_t offset) {
        return static_cast<std::uint16_t>(bytes[offset] | bytes[offset + 1] << 8);
    };
    return {bytes[0], bytes[1], shortAt(2), shortAt(4), shortAt(6)};
}

Bytes answer(UsbIpCommand command, std::uint32_t sequence, std::int32_t status)
{
    Bytes bytes(kUsbIpHeaderBytes);
    putWord(bytes, 0, static_cast<std::uint32_t>(command));
    putWord(bytes, 4, sequence);
    putWord(bytes, 20, static_cast<std::uint32_t>(status));
    return bytes;
}

} // namespace

UsbIpHeader::UsbIpHeader(const std::uint8_t* bytes)
    : command(static_cast<UsbIpCommand>(wordAt(bytes, 0))), unlinkSequence(wordAt(bytes, 20))
{
    submit.sequence = wordAt(bytes, 4);
    submit.in = wordAt(bytes, 12) == 1;
    submit.endpoint = wordAt(bytes, 16);
    submit.length = wordAt(bytes, 24);
    submit.setup = setupAt(bytes + 40);
}

std::size_t UsbIpHeader::dataBytes() const
{
    return command == UsbIpCommand::submit && !submit.in ? submit.length : 0;
}

Bytes submitAnswer(std::uint32_t sequence, std::int32_t status, std::uint32_t length, const Bytes& data)
{
    Bytes bytes = answer(UsbIpCommand::submitAnswer, sequence, status);
    putWord(bytes, 24, length);
    bytes.insert(bytes.end(), data.begin(), data.end());
    return bytes;
}

Bytes unlinkAnswer(std::uint32_t sequence, std::int32_t status)
{
    return answer(UsbIpCommand::unlinkAnswer, sequence, status);
}

} // namespace qrx::guest
