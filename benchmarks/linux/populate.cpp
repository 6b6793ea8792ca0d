// The library's part of the comparison: fresh trees of all devices, with their elements.
//
// Steps: `first` in the fresh process, `again` on another tree, `observing` on another tree while one observes; the
// last two as often as asked for. What is found is the number of HID interfaces whose elements are in the tree.

#include "Steps.h"

#include <QrxDeviceTree.h>
#include <QrxDeviceTreeDelegateInterface.h>
#include <QrxHIDDevice.h>
#include <QrxHIDElement.h>

#include <set>

namespace {

class SilentDelegate final : public QrxDeviceTreeDelegateInterface {
public:
    void deviceAdded(mis::swizzler<QrxHIDDevice>) override {}
};

SilentDelegate sm_Delegate;

mis::swizzler<QrxDeviceTree> makeTree()
{
    mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&sm_Delegate);
    return tree;
}

std::size_t interfacesWithElements(const mis::swizzler<QrxDeviceTree>& tree)
{
    std::size_t count = 0;
    for (unsigned int at = 0; at < tree->getHIDDeviceCount(); ++at) {
        const mis::swizzler<QrxHIDDevice> device = tree->getDeviceAtIndex(at);
        std::set<int> numbers;
        // Interfaces are counted by their elements: one whose descriptor was not read has none, and shows as missing.
        for (unsigned int element = 0; element < device->getElementCount(); ++element) {
            numbers.insert(device->getElementAtIndex(element)->getInterfaceNumber());
        }
        count += numbers.size();
    }
    return count;
}

void populate(Steps& steps, const char* name)
{
    mis::swizzler<QrxDeviceTree> tree;
    steps.run(
        name,
        [&tree] {
            tree = makeTree();
            tree->populate(0, 0);
        },
        [&tree] { return interfacesWithElements(tree); });
}

} // namespace

int main(int argc, char** argv)
{
    const std::size_t times = timesOf(argc, argv);
    Steps steps;
    populate(steps, "first");
    for (std::size_t time = 0; time < times; ++time) {
        populate(steps, "again");
    }
    const mis::swizzler<QrxDeviceTree> observer = makeTree();
    observer->observe(0, 0);
    for (std::size_t time = 0; time < times; ++time) {
        populate(steps, "observing");
    }
}
