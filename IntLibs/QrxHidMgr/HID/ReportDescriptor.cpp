#include "ReportDescriptor.h"

#include "DescriptorReader.h"

namespace qrx::hid {

Descriptor parseReportDescriptor(std::span<const std::uint8_t> bytes, const Limits& limits)
{
    return DescriptorReader(limits).read(bytes);
}

} // namespace qrx::hid
