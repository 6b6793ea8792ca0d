#include "support/LateNodes.h"

#include "support/GuestFiles.h"

#include <sched.h>

#include <cerrno>
#include <stdexcept>
#include <string>
#include <system_error>

namespace qrx::guest {

namespace {

pid_t processOf(const std::string& name)
{
    for (const std::string& entry : listFolder("/proc")) {
        if (readAttribute("/proc/" + entry + "/comm") == name)
            return std::stoi(entry);
    }
    throw std::runtime_error("no process is called " + name);
}

} // namespace

LateNodes::LateNodes() : _maker(processOf("kdevtmpfs"))
{
    const sched_param none{};
    if (::sched_setscheduler(_maker, SCHED_IDLE, &none) != 0)
        throw std::system_error(errno, std::generic_category(), "kdevtmpfs");
    _others = std::thread([this] {
        while (!_stopping) {
        }
    });
}

LateNodes::~LateNodes()
{
    _stopping = true;
    _others.join();
    const sched_param none{};
    ::sched_setscheduler(_maker, SCHED_OTHER, &none);
}

} // namespace qrx::guest
