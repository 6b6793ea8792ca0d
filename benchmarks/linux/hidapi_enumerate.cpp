// The peer's part of the comparison: hid_enumerate(0, 0), `first` in the fresh process and `again` as often as asked
// for. What is found is the number of report nodes that it tells of.

#include "Steps.h"

#include <hidapi.h>

#include <set>
#include <string>

namespace {

/// A node has an entry for each of its top-level usages.
std::size_t nodesOf(const hid_device_info* entry)
{
    std::set<std::string> paths;
    for (; entry != nullptr; entry = entry->next) {
        paths.insert(entry->path);
    }
    return paths.size();
}

void enumerate(Steps& steps, const char* name)
{
    hid_device_info* entries = nullptr;
    steps.run(
        name, [&entries] { entries = hid_enumerate(0, 0); }, [&entries] { return nodesOf(entries); });
    // Not measured: the library's trees are destroyed outside of their step as well.
    hid_free_enumeration(entries);
}

} // namespace

int main(int argc, char** argv)
{
    const std::size_t times = timesOf(argc, argv);
    Steps steps;
    enumerate(steps, "first");
    for (std::size_t time = 0; time < times; ++time) {
        enumerate(steps, "again");
    }
    hid_exit();
}
