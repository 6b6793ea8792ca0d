#include "NodeReadiness.h"

#include <algorithm>
#include <utility>

#include <sys/stat.h>
#include <sys/sysmacros.h>

namespace qrx::platform {

NodeReadiness::NodeReadiness(SystemCalls& calls, std::string deviceRoot, std::string runRoot,
                             std::chrono::milliseconds takenAge)
    : _calls(calls), _deviceRoot(std::move(deviceRoot)), _runRoot(std::move(runRoot)), _takenAge(takenAge)
{
}

/// The last three components.
std::string NodeReadiness::key(std::string_view path)
{
    std::size_t start = path.size();
    for (int components = 0; components < 3 && start != 0; ++components) {
        const std::size_t slash = path.rfind('/', start - 1);
        start = slash == std::string_view::npos ? 0 : slash;
    }
    return std::string(path.substr(start < path.size() && path[start] == '/' ? start + 1 : start));
}

void NodeReadiness::tell(std::string_view path)
{
    std::string told = key(path);
    if (!isTold(told)) {
        _told.push_back(std::move(told));
    }
}

bool NodeReadiness::isTold(const std::string& key) const
{
    return std::find(_told.begin(), _told.end(), key) != _told.end();
}

void NodeReadiness::forget(std::string_view path)
{
    std::erase(_told, key(path));
}

bool NodeReadiness::isReady(const std::string& hidDevice, const std::string& node)
{
    struct stat facts {};
    if (_calls.status((_deviceRoot + "/" + node).c_str(), facts) != 0) {
        return false;
    }
    if (_rules == Rules::none || isTold(hidDevice + "/hidraw/" + node)) {
        return true;
    }
    // The time of a node's last change is the time at which it was made, or at which a rule last changed its owner,
    // mode or access list.
    const auto changed = std::chrono::system_clock::time_point(
        std::chrono::seconds(facts.st_ctim.tv_sec) + std::chrono::duration_cast<std::chrono::system_clock::duration>(
                                                         std::chrono::nanoseconds(facts.st_ctim.tv_nsec)));
    if (_calls.wallTime() - changed >= _takenAge) {
        return true;
    }
    return _rules == Rules::database && isInDatabase(major(facts.st_rdev), minor(facts.st_rdev));
}

bool NodeReadiness::isInDatabase(unsigned majorNumber, unsigned minorNumber)
{
    // Without udevd (its control socket is missing) there are no rules to wait for.
    const std::string entry = "/data/c" + std::to_string(majorNumber) + ":" + std::to_string(minorNumber);
    return _calls.exists((_runRoot + "/control").c_str()) != 0 || _calls.exists((_runRoot + entry).c_str()) == 0;
}

} // namespace qrx::platform
