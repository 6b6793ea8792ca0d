#include "HidapiTest.h"

#include <cstring>

namespace qrx::tests {

namespace {

class HidapiOpen : public HidapiTest {};

TEST_F(HidapiOpen, ASerialNumberChoosesOneOfTwo)
{
    QrxVirtualDevice first(recordingOf(plainDevice("#@ serial-number: A\n")));
    QrxVirtualDevice second(recordingOf(plainDevice("#@ serial-number: B\n")));
    first.plug();
    second.plug();
    const OpenHandle opened(hid_open(0x1209, 1, L"B"));
    ASSERT_NE(opened, nullptr) << errorOf(nullptr);
    EXPECT_EQ(first.getOpenCount(0), 0U);
    EXPECT_EQ(second.getOpenCount(0), 1U);
}

TEST_F(HidapiOpen, WithoutASerialNumberTheFirstIsOpened)
{
    QrxVirtualDevice first(recordingOf(plainDevice("#@ serial-number: A\n")));
    QrxVirtualDevice second(recordingOf(plainDevice("#@ serial-number: B\n")));
    first.plug();
    second.plug();
    const OpenHandle opened(hid_open(0x1209, 1, nullptr));
    EXPECT_EQ(first.getOpenCount(0), 1U);
    EXPECT_EQ(second.getOpenCount(0), 0U);
}

TEST_F(HidapiOpen, ADeviceThatIsNotThereIsNullWithItsName)
{
    EXPECT_EQ(hid_open(0x1209, 1, nullptr), nullptr);
    EXPECT_EQ(errorOf(nullptr), "There is no device 1209:0001");
    EXPECT_EQ(hid_open(0x1209, 1, L"X"), nullptr);
    EXPECT_EQ(errorOf(nullptr), "There is no device 1209:0001 with serial number X");
}

TEST_F(HidapiOpen, PathsThatNameNothingAreNullWithAReason)
{
    EXPECT_EQ(hid_open_path(nullptr), nullptr);
    EXPECT_EQ(errorOf(nullptr), "The path is NULL");
    EXPECT_EQ(hid_open_path("/dev/null"), nullptr);
    EXPECT_EQ(errorOf(nullptr), "/dev/null: there is no USB HID device at this path");
    EXPECT_EQ(hid_open_path(""), nullptr);
    EXPECT_EQ(hid_open_path("/nowhere/hidraw0"), nullptr);
}

TEST_F(HidapiOpen, PathsThatResembleThatOfADeviceAreNullWithAReason)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    const DeviceList list(hid_enumerate(0, 0));
    ASSERT_NE(list, nullptr);
    const std::string path = list->path;
    for (const std::string& other :
         {path + " ", " " + path, path + ":0", path.substr(0, path.size() - 1), path.substr(0, path.find(':')),
          std::string("virtual-99:0"), std::string("virtual-1:1"), std::string("\xff\xfe"), std::string(100000, 'v')}) {
        EXPECT_EQ(hid_open_path(other.c_str()), nullptr) << other.substr(0, 100);
        EXPECT_NE(errorOf(nullptr), "Success");
    }
    EXPECT_EQ(device.getOpenCount(0), 0U);
}

TEST_F(HidapiOpen, ASerialNumberThatIsNoTextMatchesNone)
{
    QrxVirtualDevice device(recordingOf(plainDevice("#@ serial-number: A\n")));
    device.plug();
    const std::wstring noCharacters{static_cast<wchar_t>(0x7FFFFFFF), static_cast<wchar_t>(0xD800)};
    EXPECT_EQ(hid_open(0x1209, 1, noCharacters.c_str()), nullptr);
    EXPECT_EQ(hid_open(0x1209, 1, std::wstring(100000, L'A').c_str()), nullptr);
}

TEST_F(HidapiOpen, ASuccessForgetsTheErrorBefore)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    EXPECT_EQ(hid_open(1, 2, nullptr), nullptr);
    const OpenHandle opened = openFirst(1);
    EXPECT_EQ(errorOf(nullptr), "Success");
    EXPECT_EQ(errorOf(opened.get()), "Success");
}

TEST_F(HidapiOpen, ClosingLetsTheDeviceGo)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    openFirst(1).reset();
    EXPECT_EQ(device.getOpenCount(0), 0U);
    hid_close(nullptr);
}

TEST_F(HidapiOpen, StringsAreCutToTheBuffer)
{
    QrxVirtualDevice device(recordingOf(plainDevice("#@ vendor-name: ACME\n#@ serial-number: 0001\n")));
    device.plug();
    const OpenHandle opened = openFirst(1);
    std::array<wchar_t, 8> text;
    EXPECT_EQ(hid_get_manufacturer_string(opened.get(), text.data(), text.size()), 0);
    EXPECT_EQ(std::wstring(text.data()), L"ACME");
    EXPECT_EQ(hid_get_manufacturer_string(opened.get(), text.data(), 4), 0);
    EXPECT_EQ(std::wstring(text.data()), L"ACM");
    EXPECT_EQ(hid_get_manufacturer_string(opened.get(), text.data(), 1), 0);
    EXPECT_EQ(std::wstring(text.data()), L"");
    EXPECT_EQ(hid_get_product_string(opened.get(), text.data(), text.size()), 0);
    EXPECT_EQ(std::wstring(text.data()), L"Plain");
    EXPECT_EQ(hid_get_serial_number_string(opened.get(), text.data(), text.size()), 0);
    EXPECT_EQ(std::wstring(text.data()), L"0001");
    EXPECT_EQ(hid_get_serial_number_string(opened.get(), text.data(), 0), -1);
    EXPECT_EQ(hid_get_serial_number_string(opened.get(), nullptr, 8), -1);
    EXPECT_EQ(errorOf(opened.get()), "Zero buffer/length");
    EXPECT_EQ(hid_get_indexed_string(opened.get(), 1, text.data(), text.size()), -1);
}

TEST_F(HidapiOpen, AnOpenDeviceTellsItsEntryAndItsDescriptor)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    const DeviceList list(hid_enumerate(0x1209, 1));
    const OpenHandle opened = openFirst(1);
    hid_device_info* const info = hid_get_device_info(opened.get());
    ASSERT_NE(info, nullptr);
    EXPECT_STREQ(info->path, list->path);
    EXPECT_EQ(hid_get_device_info(opened.get()), info);

    const Bytes expected = recordingOf(plainDevice()).getInterfaces()[0].getReportDescriptor();
    Bytes bytes(HID_API_MAX_REPORT_DESCRIPTOR_SIZE);
    ASSERT_EQ(hid_get_report_descriptor(opened.get(), bytes.data(), bytes.size()), static_cast<int>(expected.size()));
    bytes.resize(expected.size());
    EXPECT_EQ(bytes, expected);
    Bytes few(3);
    EXPECT_EQ(hid_get_report_descriptor(opened.get(), few.data(), few.size()), 3);
    EXPECT_EQ(few, Bytes(expected.begin(), expected.begin() + 3));
    EXPECT_EQ(hid_get_report_descriptor(opened.get(), nullptr, 3), -1);
}

TEST_F(HidapiOpen, NoDeviceIsAnErrorEverywhere)
{
    std::array<unsigned char, 4> bytes{};
    std::array<wchar_t, 4> text{};
    EXPECT_EQ(hid_read(nullptr, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(errorOf(nullptr), "The device is NULL");
    EXPECT_EQ(hid_read_timeout(nullptr, bytes.data(), bytes.size(), 0), -1);
    EXPECT_EQ(hid_write(nullptr, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(hid_send_feature_report(nullptr, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(hid_get_feature_report(nullptr, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(hid_get_input_report(nullptr, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(hid_set_nonblocking(nullptr, 1), -1);
    EXPECT_EQ(hid_get_manufacturer_string(nullptr, text.data(), text.size()), -1);
    EXPECT_EQ(hid_get_product_string(nullptr, text.data(), text.size()), -1);
    EXPECT_EQ(hid_get_serial_number_string(nullptr, text.data(), text.size()), -1);
    EXPECT_EQ(hid_get_indexed_string(nullptr, 1, text.data(), text.size()), -1);
    EXPECT_EQ(hid_get_device_info(nullptr), nullptr);
    EXPECT_EQ(hid_get_report_descriptor(nullptr, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(hid_send_output_report(nullptr, bytes.data(), bytes.size()), -1);
    EXPECT_EQ(textOf(hid_read_error(nullptr)), "Device is NULL");
    EXPECT_EQ(qrx_hid_descriptor(nullptr), -1);
}

TEST_F(HidapiOpen, TheVersionIsThatOfTheInterface)
{
    EXPECT_EQ(hid_version()->major, 0);
    EXPECT_EQ(hid_version()->minor, 14);
    EXPECT_STREQ(hid_version_str(), "0.14.0");
}

TEST_F(HidapiOpen, InitAndExitMayBeRepeated)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(hid_init(), 0);
        EXPECT_EQ(hid_init(), 0);
        EXPECT_NE(openFirst(1), nullptr);
        EXPECT_EQ(hid_exit(), 0);
        EXPECT_EQ(hid_exit(), 0);
    }
}

} // namespace

} // namespace qrx::tests
