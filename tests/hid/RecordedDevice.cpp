#include "RecordedDevice.h"

#include <algorithm>
#include <fstream>
#include <map>
#include <sstream>

namespace qrx::hid {

namespace {

/// Empty where a byte is not hexadecimal.
std::vector<std::uint8_t> hexBytes(std::istream& words)
{
    std::vector<std::uint8_t> bytes;
    for (std::string word; words >> word;) {
        std::size_t used = 0;
        unsigned long value = 0;
        try {
            value = std::stoul(word, &used, 16);
        } catch (const std::exception&) {
            return {};
        }
        if (used != word.size() || value > 0xFF)
            return {};
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
    return bytes;
}

} // namespace

std::vector<RecordedInterface> readRecording(const std::filesystem::path& file)
{
    std::vector<RecordedInterface> interfaces;
    std::map<std::string, std::size_t> byNumber;
    std::string number = "0";
    std::ifstream stream(file);
    for (std::string line; std::getline(stream, line);) {
        if (line.size() < 2 || line[1] != ':')
            continue;
        std::istringstream words(line.substr(2));
        if (line[0] == 'D') {
            words >> number;
            continue;
        }
        const auto [found, isNew] = byNumber.try_emplace(number, interfaces.size());
        if (isNew)
            interfaces.emplace_back();
        RecordedInterface& current = interfaces[found->second];
        std::string skipped;
        if (line[0] == 'N') {
            std::getline(words >> std::ws, current.name);
        } else if (line[0] == 'R') {
            words >> skipped;
            current.descriptor = hexBytes(words);
        } else if (line[0] == 'E') {
            words >> skipped >> skipped;
            current.events.push_back(hexBytes(words));
        }
    }
    return interfaces;
}

std::vector<std::filesystem::path> recordingsIn(const std::filesystem::path& folder)
{
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() == ".hid")
            files.push_back(entry.path());
    }
    std::sort(files.begin(), files.end());
    return files;
}

} // namespace qrx::hid
