#include "devices/PlayedDevice.h"

#include "UsageError.h"

namespace qrxhid {

// The registry is the system's, and a program cannot add to it.
DeviceMaker deviceMaker(const std::string&)
{
    throw UsageError("on macOS no device can be made of a recording",
                     "qrxhid decode --events FILE; descriptor, diff, encode and lint take recordings as well");
}

const char* const kRecordingRemark = " (not on macOS)";

} // namespace qrxhid
