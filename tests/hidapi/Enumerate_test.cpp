#include "HidapiTest.h"
#include "QrxVirtualScript.h"

#include <algorithm>
#include <set>
#include <string_view>

namespace qrx::tests {

namespace {

class HidapiEnumerate : public HidapiTest {};

int lengthOf(const DeviceList& list)
{
    int length = 0;
    for (const hid_device_info* entry = list.get(); entry != nullptr; entry = entry->next) {
        ++length;
    }
    return length;
}

TEST_F(HidapiEnumerate, NothingThereIsNullWithAReason)
{
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
    EXPECT_EQ(errorOf(nullptr), "No HID devices found in the system.");
    EXPECT_EQ(hid_enumerate(0x1209, 0), nullptr);
    EXPECT_EQ(errorOf(nullptr), "No HID devices with requested VID/PID found in the system.");
}

TEST_F(HidapiEnumerate, ADeviceIsListedWithWhatItSaysOfItself)
{
    QrxVirtualDevice device(recordingOf(plainDevice("#@ vendor-name: ACME\n#@ product-name: Größe 5\n"
                                                    "#@ serial-number: 0001\n#@ release: 0110\n")));
    device.plug();
    const DeviceList list(hid_enumerate(0, 0));
    ASSERT_EQ(lengthOf(list), 1);
    EXPECT_EQ(errorOf(nullptr), "Success");
    EXPECT_EQ(list->vendor_id, 0x1209);
    EXPECT_EQ(list->product_id, 0x0001);
    EXPECT_EQ(list->release_number, 0x0110);
    EXPECT_EQ(std::wstring(list->manufacturer_string), L"ACME");
    EXPECT_EQ(std::wstring(list->product_string), L"Gr\u00f6\u00dfe 5");
    EXPECT_EQ(std::wstring(list->serial_number), L"0001");
    EXPECT_EQ(list->interface_number, 0);
    EXPECT_EQ(list->usage_page, 0xFF00);
    EXPECT_EQ(list->usage, 1);
    EXPECT_EQ(list->bus_type, HID_API_BUS_USB);
    EXPECT_EQ(list->next, nullptr);
}

TEST_F(HidapiEnumerate, AStringThatTheDeviceDoesNotHaveIsNullAndASerialNumberEmpty)
{
    QrxVirtualDevice device(recordingOf(plainDevice("#@ product-name: P\n")));
    device.plug();
    const DeviceList list(hid_enumerate(0, 0));
    ASSERT_EQ(lengthOf(list), 1);
    EXPECT_EQ(list->manufacturer_string, nullptr);
    ASSERT_NE(list->serial_number, nullptr);
    EXPECT_EQ(std::wstring(list->serial_number), L"");
}

TEST_F(HidapiEnumerate, EachTopLevelCollectionHasAnEntryWithTheSamePath)
{
    QrxVirtualDevice device(recordingOf(numberedDevice()));
    device.plug();
    const DeviceList list(hid_enumerate(0x1209, 0x0002));
    std::string usages;
    std::set<std::string> paths;
    for (const hid_device_info* entry = list.get(); entry != nullptr; entry = entry->next) {
        std::array<char, 16> text;
        std::snprintf(text.data(), text.size(), "%04x:%04x ", entry->usage_page, entry->usage);
        usages += text.data();
        paths.insert(entry->path);
    }
    EXPECT_EQ(usages, "ff00:0001 ff00:0002 0001:0006 ff01:0004 ");
    EXPECT_EQ(paths.size(), 1U);
}

TEST_F(HidapiEnumerate, ZeroStandsForAnyVendorAndAnyProduct)
{
    QrxVirtualDevice plain(recordingOf(plainDevice()));
    QrxVirtualDevice numbered(recordingOf(numberedDevice()));
    plain.plug();
    numbered.plug();
    EXPECT_EQ(lengthOf(DeviceList(hid_enumerate(0, 0))), 5);
    EXPECT_EQ(lengthOf(DeviceList(hid_enumerate(0x1209, 0))), 5);
    EXPECT_EQ(lengthOf(DeviceList(hid_enumerate(0x1209, 0x0001))), 1);
    EXPECT_EQ(lengthOf(DeviceList(hid_enumerate(0, 0x0002))), 4);
    EXPECT_EQ(hid_enumerate(0x120a, 0x0001), nullptr);
}

TEST_F(HidapiEnumerate, ADescriptorWithoutCollectionIsListedOnceWithoutUsage)
{
    // Usage Page (vendor), Usage (1): no main item follows.
    QrxVirtualDevice device(recordingOf("N: Bare\nI: 3 1209 0003\nR: 5 06 00 ff 09 01\n"));
    device.plug();
    const DeviceList list(hid_enumerate(0x1209, 0x0003));
    ASSERT_EQ(lengthOf(list), 1);
    EXPECT_EQ(list->usage_page, 0);
    EXPECT_EQ(list->usage, 0);
}

TEST_F(HidapiEnumerate, ADeviceThatLeftIsNotListedAndItsPathOpensNothing)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    const DeviceList before(hid_enumerate(0, 0));
    ASSERT_NE(before, nullptr);
    device.unplug();
    EXPECT_EQ(hid_enumerate(0, 0), nullptr);
    EXPECT_EQ(hid_open_path(before->path), nullptr);
    EXPECT_EQ(errorOf(nullptr), std::string(before->path) + ": there is no USB HID device at this path");
}

TEST_F(HidapiEnumerate, ThePathIsTheSameAfterAReplug)
{
    QrxVirtualDevice device(recordingOf(plainDevice()));
    device.plug();
    const DeviceList before(hid_enumerate(0, 0));
    device.unplug();
    device.plug();
    EXPECT_NE(OpenHandle(hid_open_path(before->path)), nullptr) << errorOf(nullptr);
}

TEST_F(HidapiEnumerate, BytesThatAreNoTextBecomeReplacementCharacters)
{
    QrxRecording recording = recordingOf(plainDevice("#@ product-name: a\xff"
                                                     "b\n"));
    QrxVirtualDevice device(recording);
    device.plug();
    const DeviceList list(hid_enumerate(0, 0));
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(std::wstring(list->product_string), L"a\ufffdb");
}

TEST_F(HidapiEnumerate, NamesOfAHostileDeviceAreCharacters)
{
    QrxVirtualDevice device(recordingOf(plainDevice("#@ vendor-name: V\n#@ product-name: P\n#@ serial-number: S\n")));
    QrxVirtualScript script;
    script.add("when plugged: garble strings");
    device.setScript(script);
    const auto areCharacters = [](const wchar_t* text) {
        return text == nullptr || std::ranges::all_of(std::wstring_view(text), [](wchar_t character) {
                   const auto code = static_cast<std::uint32_t>(character);
                   return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
               });
    };
    int notPlain = 0;
    for (int round = 0; round < 50; ++round) {
        device.plug();
        const DeviceList list(hid_enumerate(0, 0));
        ASSERT_NE(list, nullptr);
        for (const wchar_t* text : {list->manufacturer_string, list->product_string, list->serial_number}) {
            EXPECT_TRUE(areCharacters(text));
            notPlain += text == nullptr || std::wstring_view(text).size() != 1 ? 1 : 0;
        }
        const OpenHandle opened(hid_open_path(list->path));
        std::array<wchar_t, 3> few{};
        EXPECT_EQ(hid_get_product_string(opened.get(), few.data(), few.size()), 0) << errorOf(nullptr);
        device.unplug();
    }
    EXPECT_GT(notPlain, 0);
}

TEST_F(HidapiEnumerate, FreeingNothingIsAllowed)
{
    hid_free_enumeration(nullptr);
}

} // namespace

} // namespace qrx::tests
