/// A provider needs the providers' contract and nothing else: the whole library on a folder of recordings.

#include "FolderProvider.h"
#include "LibraryTest.h"

#include <gmock/gmock.h>

#include <filesystem>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

/// The folder that is this program's bus.
const fs::path& bus()
{
    static const fs::path sm_Bus = [] {
        const fs::path folder = fs::temp_directory_path() / ("qrx-folder-provider-" + std::to_string(::getpid()));
        fs::create_directories(folder / "bus");
        return folder;
    }();
    return sm_Bus;
}

class FolderProviderTest : public LibraryTest {
protected:
    FolderProviderTest() { QrxVirtualDevice::setRealDevicesEnabled(true); }
    ~FolderProviderTest() override { fs::remove_all(bus()); }

    static void plug(const std::string& name)
    {
        fs::copy_file(fs::path(QRX_TEST_DATA) / name, bus() / name);
        fs::rename(bus() / name, bus() / "bus" / name);
    }
    static void pull(const std::string& name) { fs::remove(bus() / "bus" / name); }
};

TEST_F(FolderProviderTest, ItsDevicesComeSendAndGoAsAnyOthers)
{
    plug("wheel-mouse.hid");
    const TreeHandle tree = populatedTree();
    ASSERT_EQ(tree->getHIDDeviceCount(), 1U);
    EXPECT_EQ(tree->getDeviceAtIndex(0)->getProductName(), "QRX Wheel Mouse");

    tree->observe(0, 0);
    plug("boot-keyboard.hid");
    ASSERT_TRUE(runUntil([this] { return _treeDelegate.arrivals.size() == 2; }));
    EXPECT_THAT(_treeDelegate.arrivals, testing::ElementsAre("QRX Wheel Mouse", "QRX Boot Keyboard"));

    const auto log = openWithLog(tree->getDeviceAtIndex(0));
    ASSERT_TRUE(runUntil([&log] { return log->input.size() == 6; }));
    EXPECT_THAT(log->input[5].bytes, testing::ElementsAre(0x00, 0x81, 0x7f, 0x01));

    pull("wheel-mouse.hid");
    EXPECT_TRUE(runUntil([&tree] { return tree->getHIDDeviceCount() == 1; }));
    EXPECT_EQ(tree->getDeviceAtIndex(0)->getProductName(), "QRX Boot Keyboard");
}

} // namespace

std::vector<std::unique_ptr<qrx::platform::Provider>> qrx::platform::makeProviders()
{
    std::vector<std::unique_ptr<Provider>> providers;
    providers.push_back(std::make_unique<FolderProvider>((bus() / "bus").string()));
    return providers;
}
