#pragma once

#include "support/GuestFiles.h"

#include <string>
#include <vector>

namespace qrx::guest {

/// A report descriptor out of a recording, and where it came from.
struct RecordedDescriptor {
    /// The file's name; with "#n" for the descriptors of further devices in it.
    std::string name;
    Bytes bytes;
};

/// The descriptors ("R:" lines) of all recordings below the given files and folders, by name. Descriptors with the same
/// bytes come once. Lines that do not hold as many bytes as they say are left out: no device can be made of them.
std::vector<RecordedDescriptor> readDescriptors(const std::vector<std::string>& paths);

} // namespace qrx::guest
