#include "support/GuestFiles.h"

#include "support/Waiting.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

namespace qrx::guest {

namespace {

namespace fs = std::filesystem;

constexpr const char* kUsbDevices = "/sys/bus/usb/devices/";

std::string hexWord(std::uint16_t value)
{
    std::array<char, 5> text{};
    std::snprintf(text.data(), text.size(), "%04x", static_cast<unsigned>(value));
    return text.data();
}

} // namespace

std::optional<std::string> readFile(const std::string& path)
{
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return std::nullopt;
    std::string contents;
    std::array<char, 65536> block;
    ssize_t count = 0;
    while ((count = ::read(fd, block.data(), block.size())) > 0)
        contents.append(block.data(), static_cast<std::size_t>(count));
    ::close(fd);
    if (count < 0)
        return std::nullopt;
    return contents;
}

std::optional<std::string> readAttribute(const std::string& path)
{
    std::optional<std::string> contents = readFile(path);
    if (contents && contents->ends_with('\n'))
        contents->pop_back();
    return contents;
}

int writeFile(const std::string& path, const std::string& text)
{
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return errno;
    const ssize_t written = ::write(fd, text.data(), text.size());
    const int error = written < 0 ? errno : 0;
    ::close(fd);
    return error;
}

std::vector<std::string> listFolder(const std::string& path)
{
    std::vector<std::string> names;
    std::error_code error;
    for (fs::directory_iterator entry(path, error), end; !error && entry != end; entry.increment(error))
        names.push_back(entry->path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> findUsbDevices(std::uint16_t vendor, std::uint16_t product)
{
    std::vector<std::string> found;
    for (const std::string& name : listFolder(kUsbDevices)) {
        const std::string path = kUsbDevices + name;
        if (readAttribute(path + "/idVendor") == hexWord(vendor) &&
            readAttribute(path + "/idProduct") == hexWord(product))
            found.push_back(path);
    }
    return found;
}

std::string hidrawNodeBelow(const std::string& hidDevice)
{
    const std::vector<std::string> names = listFolder(hidDevice + "/hidraw");
    const std::string node = names.empty() ? std::string{} : "/dev/" + names.front();
    return ::access(node.c_str(), F_OK) == 0 ? node : std::string{};
}

std::vector<std::string> hidrawNodesOfInterface(const std::string& interface)
{
    std::vector<std::string> nodes;
    for (const std::string& child : listFolder(interface)) {
        if (const std::string node = hidrawNodeBelow(interface + "/" + child); !node.empty())
            nodes.push_back(node);
    }
    return nodes;
}

void waitForDriver(const std::string& hidDevice)
{
    if (!readFile("/sys/kernel/debug/hid" / fs::canonical(hidDevice).filename() / "rdesc"))
        throw std::runtime_error("debugfs does not show " + hidDevice);
}

std::vector<std::string> hidrawNodesOf(const std::string& usbDevice)
{
    const std::string name = fs::path(usbDevice).filename();
    std::vector<std::pair<std::string, std::string>> interfaces;
    for (const std::string& entry : listFolder(usbDevice)) {
        if (entry.starts_with(name + ":"))
            interfaces.emplace_back(readAttribute(usbDevice + "/" + entry + "/bInterfaceNumber").value_or(""), entry);
    }
    std::sort(interfaces.begin(), interfaces.end());
    std::vector<std::string> nodes;
    for (const auto& [number, entry] : interfaces) {
        const std::vector<std::string> found = hidrawNodesOfInterface(usbDevice + "/" + entry);
        nodes.insert(nodes.end(), found.begin(), found.end());
    }
    return nodes;
}

std::vector<std::string> waitForHidrawNodes(std::uint16_t vendor, std::uint16_t product, std::size_t nodes)
{
    std::vector<std::string> found;
    waitUntil([&] {
        const std::vector<std::string> devices = findUsbDevices(vendor, product);
        found = devices.empty() ? std::vector<std::string>{} : hidrawNodesOf(devices.front());
        return found.size() == nodes;
    });
    return found.size() == nodes ? found : std::vector<std::string>{};
}

bool waitUntilGone(std::uint16_t vendor, std::uint16_t product)
{
    return waitUntil([&] { return findUsbDevices(vendor, product).empty(); });
}

void runProgram(std::vector<std::string> words)
{
    // Its modules and daemons are not for the machine of someone who starts a test by hand.
    if (std::getenv("QRX_GUEST_CTL") == nullptr)
        throw std::runtime_error(words.front() + " is run in the test guest only");
    std::vector<char*> arguments;
    for (std::string& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = 0;
    if (::posix_spawnp(&child, arguments.front(), nullptr, nullptr, arguments.data(), environ) != 0 ||
        ::waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error(words.front() + " failed");
}

void loadModule(const std::string& module, const std::string& parameter)
{
    std::vector<std::string> words{"modprobe", module};
    if (!parameter.empty())
        words.push_back(parameter);
    runProgram(words);
}

std::string hex(const Bytes& bytes)
{
    std::string text;
    for (const std::uint8_t byte : bytes) {
        std::array<char, 4> pair{};
        std::snprintf(pair.data(), pair.size(), text.empty() ? "%02x" : " %02x", static_cast<unsigned>(byte));
        text += pair.data();
    }
    return text;
}

} // namespace qrx::guest
