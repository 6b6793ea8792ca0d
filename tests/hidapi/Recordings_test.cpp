#include "HidapiTest.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include <poll.h>

namespace qrx::tests {

namespace {

class HidapiRecordings : public HidapiTest {
protected:
    HidapiRecordings() : folder(std::filesystem::path(::testing::TempDir()) / "hidapi_recordings_XXXXXX")
    {
        std::string name = folder.string();
        folder = ::mkdtemp(name.data());
    }
    ~HidapiRecordings() override
    {
        ::unsetenv("QRX_HIDAPI_RECORDINGS");
        ::unsetenv("QRX_HIDAPI_FAULTS");
        std::filesystem::remove_all(folder);
    }

    std::string write(const std::string& name, const std::string& text)
    {
        const std::string path = folder / name;
        std::ofstream(path) << text;
        return path;
    }
    static void useFaults(const std::string& files) { ::setenv("QRX_HIDAPI_FAULTS", files.c_str(), 1); }
    static void use(const std::string& files) { ::setenv("QRX_HIDAPI_RECORDINGS", files.c_str(), 1); }

    std::filesystem::path folder;
};

TEST_F(HidapiRecordings, RecordingsOfTheEnvironmentAreDevices)
{
    use(write("plain.hid", plainDevice()) + "\n" + write("numbered.hid", numberedDevice()) + "\n");
    EXPECT_NE(openFirst(1), nullptr);
    EXPECT_NE(openFirst(2), nullptr);
}

TEST_F(HidapiRecordings, EventsComeAtTheirTimesFromTheOpeningOn)
{
    use(write("plain.hid", plainDevice() + "E: 000005.000000 4 01 00 00 00\n"
                                           "E: 000005.000100 4 02 00 00 00\n"
                                           "E: 000005.030000 4 03 00 00 00\n"));
    const OpenHandle handle = openFirst(1);
    for (unsigned char number = 1; number <= 3; ++number) {
        Bytes bytes(4);
        ASSERT_EQ(hid_read_timeout(handle.get(), bytes.data(), bytes.size(), 10000), 4);
        EXPECT_EQ(bytes[0], number);
    }
    EXPECT_EQ(readNow(handle.get()), "");
}

TEST_F(HidapiRecordings, TheDescriptorTellsOfEventsThatAreDue)
{
    use(write("plain.hid", plainDevice() + "E: 000000.000000 4 01 00 00 00\n"
                                           "E: 000000.500000 4 02 00 00 00\n"));
    const OpenHandle handle = openFirst(1);
    pollfd awaited{qrx_hid_descriptor(handle.get()), POLLIN, 0};
    EXPECT_EQ(readNow(handle.get()), "01 00 00 00 ");
    EXPECT_EQ(readNow(handle.get()), "");
    ASSERT_EQ(::poll(&awaited, 1, 10000), 1);
    EXPECT_EQ(readNow(handle.get()), "02 00 00 00 ");
}

std::string pathsThere()
{
    std::string paths;
    const DeviceList list(hid_enumerate(0, 0));
    for (const hid_device_info* entry = list.get(); entry != nullptr; entry = entry->next) {
        paths += entry->path + (" " + textOf(entry->product_string) + "\n");
    }
    return paths;
}

TEST_F(HidapiRecordings, HaveTheSamePathsAndOrderEachTimeThatTheLibraryBegins)
{
    std::string files;
    for (int number = 1; number <= 3; ++number) {
        const std::string name = "P" + std::to_string(number);
        files += write(name, plainDevice("#@ product-name: " + name + "\n")) + "\n";
    }
    use(files);
    for (int round = 0; round < 5; ++round) {
        EXPECT_EQ(pathsThere(), "virtual-1:0 P1\nvirtual-2:0 P2\nvirtual-3:0 P3\n") << "round " << round;
        hid_exit();
    }
}

TEST_F(HidapiRecordings, ADeviceThatIsThereFromBeforeKeepsItsPath)
{
    QrxVirtualDevice device(recordingOf(plainDevice("#@ product-name: Own\n")));
    device.plug();
    use(write("plain.hid", plainDevice("#@ product-name: Recorded\n")));
    for (int round = 0; round < 2; ++round) {
        EXPECT_EQ(pathsThere(), "virtual-1:0 Own\nvirtual-2:0 Recorded\n");
        hid_exit();
    }
}

TEST_F(HidapiRecordings, WhatIsWrittenIsTaken)
{
    use(write("plain.hid", plainDevice()));
    const OpenHandle handle = openFirst(1);
    const Bytes bytes{0, 1, 2};
    EXPECT_EQ(hid_write(handle.get(), bytes.data(), bytes.size()), 3);
}

TEST_F(HidapiRecordings, ARecordingThatCannotBeReadIsAnErrorWithItsPlace)
{
    const std::string path = write("broken.hid", "N: Broken\nI: 3 1209\n");
    use(path);
    EXPECT_EQ(hid_init(), -1);
    EXPECT_NE(errorOf(nullptr).find(path + ":2: "), std::string::npos) << errorOf(nullptr);
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
    EXPECT_NE(errorOf(nullptr).find(path + ":2: "), std::string::npos) << errorOf(nullptr);
    use(folder / "missing.hid");
    EXPECT_EQ(hid_init(), -1);
    EXPECT_NE(errorOf(nullptr).find("missing.hid"), std::string::npos) << errorOf(nullptr);
}

TEST_F(HidapiRecordings, AnOpenDeviceHasLeftAfterTheEnd)
{
    use(write("plain.hid", plainDevice()));
    const OpenHandle handle = openFirst(1);
    EXPECT_EQ(hid_exit(), 0);
    EXPECT_EQ(readNow(handle.get()), "error: The device was disconnected");
}

TEST_F(HidapiRecordings, ADeviceAnswersByItsScript)
{
    use(write("plain.hid", plainDevice()));
    useFaults(write("plain.faults", "when output 01 ??: send 02 ?? 00 00 after 5 ms\n"
                                    "when get feature: answer 07 08\n"
                                    "when feature ...: refuse\n"));
    const OpenHandle handle = openFirst(1);
    const Bytes request{0, 1, 9};
    EXPECT_EQ(hid_write(handle.get(), request.data(), request.size()), 3);
    Bytes report(4);
    ASSERT_EQ(hid_read_timeout(handle.get(), report.data(), report.size(), 10000), 4);
    EXPECT_EQ(report, (Bytes{2, 9, 0, 0}));
    Bytes feature(3);
    ASSERT_EQ(hid_get_feature_report(handle.get(), feature.data(), feature.size()), 3);
    EXPECT_EQ(feature, (Bytes{0, 7, 8}));
    EXPECT_EQ(hid_send_feature_report(handle.get(), request.data(), request.size()), -1);
}

TEST_F(HidapiRecordings, ADeviceMayLeaveAndComeBackByItsScript)
{
    use(write("plain.hid", plainDevice()));
    useFaults(write("plain.faults", "when output ff ff: unplug, plug after 5 ms\n"));
    const OpenHandle handle = openFirst(1);
    const Bytes request{0, 0xff, 0xff};
    EXPECT_EQ(hid_write(handle.get(), request.data(), request.size()), -1);
    EXPECT_EQ(readNow(handle.get()), "error: The device was disconnected");
    OpenHandle again;
    for (int look = 0; look < 5000 && again == nullptr; ++look) {
        again.reset(hid_open(0x1209, 1, nullptr));
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_NE(again, nullptr);
}

TEST_F(HidapiRecordings, AScriptThatCannotBeReadIsAnErrorWithItsPlace)
{
    use(write("plain.hid", plainDevice()));
    const std::string path = write("plain.faults", "# nothing\nwhen moonlight: drop\n");
    useFaults(path);
    EXPECT_EQ(hid_init(), -1);
    EXPECT_NE(errorOf(nullptr).find(path + ":2: "), std::string::npos) << errorOf(nullptr);
}

TEST_F(HidapiRecordings, ScriptsThatDoNotMatchTheRecordingsAreRefused)
{
    use(write("plain.hid", plainDevice()));
    useFaults("a.faults\nb.faults\n");
    EXPECT_EQ(hid_init(), -1);
    EXPECT_EQ(errorOf(nullptr), "there are 1 recordings and 2 files of faults");
}

} // namespace

} // namespace qrx::tests
