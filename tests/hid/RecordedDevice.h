#pragma once

/// What these tests need of a recording: its descriptors and events. The format is that of hid-recorder.

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace qrx::hid {

struct RecordedInterface {
    std::string name;
    std::vector<std::uint8_t> descriptor;
    std::vector<std::vector<std::uint8_t>> events;
};

/// The interfaces in the order of their D: lines; one if there are none. Lines that are not well formed are passed
/// over.
std::vector<RecordedInterface> readRecording(const std::filesystem::path& file);

/// The *.hid files of a folder, sorted.
std::vector<std::filesystem::path> recordingsIn(const std::filesystem::path& folder);

} // namespace qrx::hid
