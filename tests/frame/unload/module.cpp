// A part of a program that is loaded while the program runs, as a plug-in is: the only one that is linked to the
// library.

#include "QrxDeviceTree.h"
#include "QrxHIDDeviceManager.h"

namespace {

class Manager : public QrxHIDDeviceManager {
public:
    explicit Manager(bool& ended) : _ended(ended) {}
    ~Manager() override { _ended = true; }
    void initDeviceTree() override
    {
        _deviceTree = QrxDeviceTree::NewInstance();
        _deviceTree->populate(0, 0);
    }

    static void makeInstance(bool& ended) { sm_Instance.set(new Manager(ended)); }

private:
    bool& _ended;
};

} // namespace

/// Makes a manager with a populated tree the instance and answers whether the library hands it out. `ended` is set when
/// the manager ends.
extern "C" __attribute__((visibility("default"))) bool useLibrary(bool* ended)
{
    Manager::makeInstance(*ended);
    return QrxHIDDeviceManager::Instance()->getDeviceTree()->getReferenceCount() > 1;
}
