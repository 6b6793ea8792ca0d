#include "doctor/UdevDatabase.h"

#include "doctor/FileText.h"

#include <sstream>

namespace qrxhid {

// udevd names its entries by the device's numbers, "c245:0", and writes tags as lines "G:".
UdevDatabase::Tag UdevDatabase::tagOf(const std::string& node) const
{
    const auto numbers = fileText(_root + "/sys/class/hidraw/" + node.substr(node.rfind('/') + 1) + "/dev");
    std::string majorAndMinor;
    std::istringstream(numbers.value_or("")) >> majorAndMinor;
    const auto entry = fileText(_root + "/run/udev/data/c" + majorAndMinor);
    // No entry: udevd has not seen the node, or its database may not be read here.
    if (!entry) {
        return Tag::unknown;
    }
    std::istringstream lines(*entry);
    for (std::string line; std::getline(lines, line);) {
        if (line == "G:uaccess") {
            return Tag::given;
        }
    }
    return Tag::notGiven;
}

} // namespace qrxhid
