// Bad input, and as many devices as the kernel has nodes for, with both libraries on the kernel's devices.

#include "Functions.h"
#include "library/Plugs.h"
#include "panels/Panels.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace qrx::guest {
namespace {

class HidapiCrowd : public testing::TestWithParam<const Functions& (*)()> {
protected:
    ~HidapiCrowd() override { api.exit(); }

    std::vector<std::string> paths()
    {
        std::vector<std::string> found;
        hid_device_info* const list = api.enumerate(0, 0);
        for (const hid_device_info* info = list; info != nullptr; info = info->next) {
            if (found.empty() || found.back() != info->path) {
                found.emplace_back(info->path);
            }
        }
        api.freeEnumeration(list);
        return found;
    }
    /// What reading the vendor reports of the panel says.
    int readFrom(hid_device* opened)
    {
        Bytes bytes(Panels::kReportBytes);
        return api.readTimeout(opened, bytes.data(), bytes.size(), 5000);
    }

    bool isOurs() const { return &api == &ours(); }

    const Functions& api = GetParam()();
};

INSTANTIATE_TEST_SUITE_P(OfBoth, HidapiCrowd, testing::Values(&ours, &peer),
                         [](const auto& library) { return library.index == 0 ? "Ours" : "Hidapis"; });

TEST_P(HidapiCrowd, OfSixtyFourNodesOneDeviceMayLeaveInTheMiddle)
{
    constexpr std::size_t kNodes = 64;
    Panels panels(kNodes);
    EXPECT_EQ(paths().size(), kNodes);
    const std::size_t gone = panels.devices().size() / 2;
    std::vector<hid_device*> opened;
    for (const auto& panel : panels.devices()) {
        opened.push_back(api.openPath(panel->waitForNodes().at(0).c_str()));
        ASSERT_NE(opened.back(), nullptr);
    }
    const std::string left = panels.devices()[gone]->waitForNodes().at(0);
    pullWhole(*panels.devices()[gone]);
    EXPECT_EQ(paths().size(), kNodes - 2);
    EXPECT_EQ(api.openPath(left.c_str()), nullptr);
    for (std::size_t at = 0; at < opened.size(); ++at) {
        if (at != gone) {
            sendQueued(*panels.devices()[at], 0, Bytes(Panels::kReportBytes, 7));
        }
        EXPECT_EQ(readFrom(opened[at]), at != gone ? static_cast<int>(Panels::kReportBytes) : -1) << at;
        api.close(opened[at]);
    }
}

TEST_P(HidapiCrowd, PathsThatAreNoNodesOpenNothing)
{
    Panels panels(1);
    ASSERT_EQ(paths().size(), 1U);
    for (const std::string& path :
         {std::string("/dev/null"), std::string("/dev"), std::string("/proc/self/mem"), std::string("/dev/hidraw63"),
          std::string("/dev/hidraw"), std::string("hidraw0"), std::string(), std::string(70000, '/'),
          std::string("/dev/\xff\n\x1b[2J"), paths().front() + "/", paths().front() + " "}) {
        EXPECT_EQ(api.openPath(path.c_str()), nullptr) << path.substr(0, 100);
        // hidapi opens any file, and finds out without a word that it is no node.
        if (isOurs()) {
            EXPECT_NE(std::wstring(api.error(nullptr)), L"Success") << path.substr(0, 100);
        }
    }
}

TEST_P(HidapiCrowd, LengthsThatNoReportHasAreRefused)
{
    Panels panels(1);
    hid_device* const opened = api.openPath(paths().front().c_str());
    ASSERT_NE(opened, nullptr);
    Bytes bytes(20000);
    for (const std::size_t size : {std::size_t{0}, std::size_t{1}, std::size_t{16386}, bytes.size()}) {
        EXPECT_EQ(api.write(opened, bytes.data(), size), -1) << size;
        // hidapi sends a part: the length wraps in the number of the kernel's request, which has 14 bits for it.
        const bool isCut = !isOurs() && size > 1;
        EXPECT_EQ(api.sendFeature(opened, bytes.data(), size), isCut ? static_cast<int>(size % 16384) : -1) << size;
    }
    for (const std::size_t size : {std::size_t{0}, std::size_t{3}}) {
        EXPECT_EQ(api.write(opened, nullptr, size), -1) << size;
        EXPECT_EQ(api.sendFeature(opened, nullptr, size), -1) << size;
        EXPECT_EQ(api.getFeature(opened, nullptr, size), -1) << size;
        EXPECT_EQ(api.getInput(opened, nullptr, size), -1) << size;
    }
    api.close(opened);
}

} // namespace
} // namespace qrx::guest
