#include "oracle/RecordingFile.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

namespace qrx::guest {

namespace {

namespace fs = std::filesystem;

void collectFiles(const std::string& path, std::vector<fs::path>& files)
{
    if (fs::is_regular_file(path))
        files.emplace_back(path);
    if (!fs::is_directory(path))
        return;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(path)) {
        if (entry.is_regular_file() && entry.path().extension() == ".hid")
            files.push_back(entry.path());
    }
}

/// "length byte byte ..." in decimal and hex; empty if it does not add up.
Bytes readLine(const std::string& text)
{
    std::istringstream words(text);
    std::size_t length = 0;
    words >> length;
    Bytes bytes;
    for (unsigned byte = 0; words >> std::hex >> byte && byte <= 0xFF;)
        bytes.push_back(static_cast<std::uint8_t>(byte));
    return words.eof() && bytes.size() == length ? bytes : Bytes{};
}

} // namespace

std::vector<RecordedDescriptor> readDescriptors(const std::vector<std::string>& paths)
{
    std::vector<fs::path> files;
    for (const std::string& path : paths)
        collectFiles(path, files);
    std::sort(files.begin(), files.end(),
              [](const fs::path& a, const fs::path& b) { return a.filename() < b.filename(); });
    std::vector<RecordedDescriptor> found;
    std::set<Bytes> seen;
    for (const fs::path& file : files) {
        std::istringstream lines(readFile(file).value_or(""));
        int count = 0;
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("R:"))
                continue;
            const std::string name = file.filename().string() + (count++ > 0 ? "#" + std::to_string(count) : "");
            const Bytes bytes = readLine(line.substr(2));
            if (!bytes.empty() && seen.insert(bytes).second)
                found.push_back({name, bytes});
        }
    }
    return found;
}

} // namespace qrx::guest
