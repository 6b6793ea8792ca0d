#include "AccessFixture.h"

#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace qrx::guest {

namespace {

UsbInterface vendorInterface()
{
    UsbInterface interface;
    interface.isHid = false;
    return interface;
}

} // namespace

bool mayOpen(const std::string& file)
{
    EXPECT_EQ(::seteuid(kOrdinaryUser), 0);
    const int fd = ::open(file.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
    EXPECT_EQ(::seteuid(0), 0);
    if (fd >= 0) {
        ::close(fd);
    }
    return fd >= 0;
}

bool isTagged(const std::string& node)
{
    struct stat facts {};
    EXPECT_EQ(::stat(node.c_str(), &facts), 0) << node;
    const std::string entry =
        "/run/udev/data/c" + std::to_string(major(facts.st_rdev)) + ":" + std::to_string(minor(facts.st_rdev));
    return readFile(entry).value_or("").find("\nG:uaccess\n") != std::string::npos;
}

void applyAllRules()
{
    runProgram({"udevadm", "trigger", "--settle", "--subsystem-match=hidraw"});
}

ToolRun askDoctor(const std::vector<std::string>& words, unsigned userID)
{
    std::vector<std::string> all{"doctor"};
    all.insert(all.end(), words.begin(), words.end());
    return runTool(all, userID);
}

std::size_t followAdvice(const ToolRun& doctor)
{
    const std::string mark = "next: ";
    std::istringstream lines(doctor.text);
    std::size_t steps = 0;
    for (std::string line; std::getline(lines, line);) {
        line.erase(0, line.find_first_not_of(' '));
        if (line.starts_with(mark)) {
            const ToolRun run = runShell(line.substr(mark.size()));
            EXPECT_EQ(run.status, 0) << line << "\n" << run.text;
            ++steps;
        }
    }
    return steps;
}

std::string placeOf(const VhciDevice& device)
{
    const std::string path = device.sysfsPath();
    return path.substr(path.rfind('/') + 1);
}

TwoDevices::TwoDevices()
    : composite(identityOf("Composite", 0x00A1),
                {hidInterface(plainDescriptor(8)), vendorInterface(), hidInterface(numberedDescriptor())}),
      plain(identityOf("Plain", 0x00A2), {hidInterface(plainDescriptor(8))})
{
    plugWhole(composite);
    plugWhole(plain);
    compositeNodes = composite.waitForNodes();
    plainNode = plain.waitForNodes().at(0);
}

} // namespace qrx::guest
