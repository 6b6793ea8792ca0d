#pragma once

#include "ExitStatus.h"
#include "devices/DeviceChoice.h"

#include "QrxRecording.h"

#include <string>
#include <vector>

namespace qrxhid {

/// A recording whose device is chosen; no device is made of it.
struct ChosenRecording {
    std::string fileName;
    QrxRecording recording;
    /// "1209:0002  Qrx Demo Wheel Mouse"; may be shown to a person.
    std::string title;
};

/// Reads the recordings of the choice. Those that cannot be read are told on standard error and left out, and `status`
/// becomes kBadRecording. Throws UnknownDevice if one of the chosen devices is in none of them.
std::vector<ChosenRecording> chooseRecordings(const DeviceChoice& choice, ExitStatus& status);

} // namespace qrxhid
