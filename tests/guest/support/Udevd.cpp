#include "support/Udevd.h"

#include "support/GuestFiles.h"

#include <unistd.h>

#include <stdexcept>

namespace qrx::guest {

namespace {

constexpr const char* kRules = "/etc/udev/rules.d/60-test.rules";

} // namespace

Udevd::Udevd(const std::string& rules)
{
    if (writeFile(kRules, rules) != 0)
        throw std::runtime_error("no place for udev's rules");
    runProgram({"start-udevd"});
}

Udevd::~Udevd()
{
    try {
        runProgram({"stop-udevd"});
    } catch (const std::runtime_error&) {
        // It was gone before; the next one starts anew.
    }
    ::unlink(kRules);
}

} // namespace qrx::guest
