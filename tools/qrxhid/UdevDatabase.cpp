#include "UdevDatabase.h"

#include <fstream>

namespace qrxhid {

UdevDatabase::Tag UdevDatabase::tagOf(const std::string& node) const
{
    std::ifstream numbers(_root + "/sys/class/hidraw/" + node.substr(node.rfind('/') + 1) + "/dev");
    std::string majorAndMinor;
    numbers >> majorAndMinor;
    std::ifstream entry(_root + "/run/udev/data/c" + majorAndMinor);
    if (!entry) {
        return Tag::unknown;
    }
    for (std::string line; std::getline(entry, line);) {
        if (line == "G:uaccess") {
            return Tag::given;
        }
    }
    return Tag::notGiven;
}

} // namespace qrxhid
