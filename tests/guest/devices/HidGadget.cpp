#include "devices/HidGadget.h"

#include "support/Waiting.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

namespace qrx::guest {

namespace {

const std::string kConfigfs = "/sys/kernel/config";
const std::string kGadgets = kConfigfs + "/usb_gadget/";
const std::string kNodes = "/sys/class/hidg/";

/// f_hid's largest report in these tests, one packet at high speed.
constexpr std::size_t kMaximumReportBytes = 1024;

void put(const std::string& path, const std::string& text)
{
    const int error = writeFile(path, text);
    if (error != 0)
        throw std::runtime_error(path + ": errno " + std::to_string(error));
}

void makeFolder(const std::string& path)
{
    if (::mkdir(path.c_str(), 0755) != 0)
        throw std::runtime_error(path + ": errno " + std::to_string(errno));
}

void loadGadgetModules()
{
    for (const char* module : {"configfs", "libcomposite", "usb_f_hid", "dummy_hcd"})
        loadModule(module);
    if (::access((kConfigfs + "/usb_gadget").c_str(), F_OK) != 0 &&
        ::mount("config", kConfigfs.c_str(), "configfs", 0, nullptr) != 0)
        throw std::runtime_error("configfs cannot be mounted");
}

std::string decimal(unsigned value)
{
    return std::to_string(value);
}

} // namespace

HidGadget::HidGadget(const std::string& name, const UsbIdentity& identity, const std::vector<UsbInterface>& interfaces)
    : _path(kGadgets + name), _nodes(interfaces.size(), -1)
{
    loadGadgetModules();
    makeFolder(_path);
    put(_path + "/idVendor", decimal(identity.vendor));
    put(_path + "/idProduct", decimal(identity.product));
    put(_path + "/bcdDevice", decimal(identity.release));
    put(_path + "/bcdUSB", decimal(0x0200));
    makeStrings(identity);
    makeFolder(_path + "/configs/c.1");
    for (const UsbInterface& interface : interfaces)
        makeFunction(_functions++, interface);
}

void HidGadget::makeStrings(const UsbIdentity& identity)
{
    const std::string strings = _path + "/strings/0x409";
    makeFolder(strings);
    put(strings + "/manufacturer", identity.manufacturer.value_or(""));
    put(strings + "/product", identity.productName.value_or(""));
    put(strings + "/serialnumber", identity.serial.value_or(""));
}

std::string HidGadget::functionPath(std::size_t number) const
{
    return _path + "/functions/hid.f" + std::to_string(number);
}

void HidGadget::makeFunction(std::size_t number, const UsbInterface& interface)
{
    const std::string path = functionPath(number);
    makeFolder(path);
    put(path + "/subclass", decimal(interface.subclass));
    put(path + "/protocol", decimal(interface.protocol));
    put(path + "/report_length", decimal(interface.maximumPacket));
    put(path + "/no_out_endpoint", interface.hasOutEndpoint ? "0" : "1");
    put(path + "/report_desc", std::string(interface.reportDescriptor.begin(), interface.reportDescriptor.end()));
    const std::string link = _path + "/configs/c.1/f" + std::to_string(number);
    if (::symlink(path.c_str(), link.c_str()) != 0)
        throw std::runtime_error(link + ": errno " + std::to_string(errno));
}

HidGadget::~HidGadget()
{
    unplug();
    for (std::size_t number = 0; number < _functions; ++number) {
        ::unlink((_path + "/configs/c.1/f" + std::to_string(number)).c_str());
        ::rmdir(functionPath(number).c_str());
    }
    for (const char* folder : {"/configs/c.1", "/strings/0x409", ""})
        ::rmdir((_path + folder).c_str());
}

void HidGadget::plug()
{
    put(_path + "/UDC", "dummy_udc.0");
    _plugged = true;
}

void HidGadget::unplug()
{
    for (int& fd : _nodes) {
        if (fd >= 0)
            ::close(fd);
        fd = -1;
    }
    if (_plugged)
        writeFile(_path + "/UDC", "\n");
    _plugged = false;
}

int HidGadget::openNode(std::size_t interface)
{
    int& fd = _nodes.at(interface);
    if (fd >= 0)
        return fd;
    const std::optional<std::string> numbers = readAttribute(functionPath(interface) + "/dev");
    waitUntil([&] {
        for (const std::string& name : listFolder(kNodes)) {
            if (readAttribute(kNodes + name + "/dev") == numbers)
                fd = ::open(("/dev/" + name).c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
        }
        return fd >= 0;
    });
    if (fd < 0)
        throw std::runtime_error("no node for the gadget's function " + std::to_string(interface));
    return fd;
}

int HidGadget::sendInput(std::size_t interface, const Bytes& bytes)
{
    const int fd = openNode(interface);
    pollfd entry{fd, POLLOUT, 0};
    ::poll(&entry, 1, static_cast<int>(kPatience.count()));
    return ::write(fd, bytes.data(), bytes.size()) < 0 ? errno : 0;
}

Bytes HidGadget::readOutput(std::size_t interface, std::chrono::milliseconds limit)
{
    const int fd = openNode(interface);
    pollfd entry{fd, POLLIN, 0};
    ::poll(&entry, 1, static_cast<int>(limit.count()));
    Bytes bytes(kMaximumReportBytes);
    const ssize_t count = ::read(fd, bytes.data(), bytes.size());
    bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
    return bytes;
}

} // namespace qrx::guest
