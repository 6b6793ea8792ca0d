// Each entry is one piece of memory: the structure, then its wide texts, then its path. Listing is what programs do
// most often, and so it takes one allocation an entry.

#include "DeviceInfo.h"

#include "WideText.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace qrx::hidapi {

namespace {

/// The texts of an interface's device, which all entries of the interface share the contents of.
struct Texts {
    explicit Texts(const platform::DeviceFacts& device) : serialNumber(wideText(device.serialNumber.value_or("")))
    {
        if (device.vendorName) {
            vendorName = wideText(*device.vendorName);
        }
        if (device.productName) {
            productName = wideText(*device.productName);
        }
    }

    /// Characters of all texts, with their final zeros.
    std::size_t size() const { return sizeOf(serialNumber) + sizeOf(vendorName) + sizeOf(productName); }

    std::optional<std::wstring> serialNumber;
    std::optional<std::wstring> vendorName;
    std::optional<std::wstring> productName;

private:
    static std::size_t sizeOf(const std::optional<std::wstring>& text) { return text ? text->size() + 1 : 0; }
};

/// Places `text` at `end`, which moves behind it.
wchar_t* place(const std::optional<std::wstring>& text, wchar_t*& end)
{
    if (!text) {
        return nullptr;
    }
    wchar_t* const begin = end;
    end = std::copy_n(text->c_str(), text->size() + 1, end);
    return begin;
}

InfoList makeEntry(const ListedInterface& listed, const Texts& texts, const TopUsage& usage)
{
    static_assert(alignof(hid_device_info) >= alignof(wchar_t), "wide texts may follow the structure");
    void* const memory =
        ::operator new(sizeof(hid_device_info) + texts.size() * sizeof(wchar_t) + listed.path.size() + 1);
    InfoList entry(new (memory) hid_device_info{});
    auto* end = reinterpret_cast<wchar_t*>(entry.get() + 1);
    entry->serial_number = place(texts.serialNumber, end);
    entry->manufacturer_string = place(texts.vendorName, end);
    entry->product_string = place(texts.productName, end);
    // Last, because its bytes need no alignment.
    entry->path = reinterpret_cast<char*>(end);
    std::memcpy(entry->path, listed.path.c_str(), listed.path.size() + 1);
    entry->vendor_id = listed.device->vendorID;
    entry->product_id = listed.device->productID;
    entry->release_number = listed.device->releaseNumber;
    entry->usage_page = usage.page;
    entry->usage = usage.usage;
    entry->interface_number = listed.facts->number;
    entry->bus_type = HID_API_BUS_USB;
    return entry;
}

/// Appends `more`, which is not empty, to the list that ends at `end`, and moves `end` to the new end. `list` and `end`
/// are null for an empty list.
void append(InfoList& list, hid_device_info*& end, InfoList more)
{
    hid_device_info* last = more.get();
    while (last->next != nullptr) {
        last = last->next;
    }
    if (end == nullptr) {
        list = std::move(more);
    } else {
        end->next = more.release();
    }
    end = last;
}

} // namespace

void freeInfoList(hid_device_info* list)
{
    while (list != nullptr) {
        // One piece of memory, see above. A C structure has nothing to destroy.
        hid_device_info* const next = list->next;
        ::operator delete(list);
        list = next;
    }
}

InfoList makeInfoList(const ListedInterface& interface)
{
    const Texts texts(*interface.device);
    InfoList list;
    hid_device_info* end = nullptr;
    for (const TopUsage& usage : interface.usages) {
        append(list, end, makeEntry(interface, texts, usage));
    }
    return list;
}

InfoList makeInfoList(const DeviceTable::Interfaces& interfaces, std::uint16_t vendorID, std::uint16_t productID)
{
    const auto matches = [](std::uint16_t wanted, std::uint16_t is) { return wanted == 0 || wanted == is; };
    InfoList list;
    hid_device_info* end = nullptr;
    for (const auto& interface : interfaces) {
        if (matches(vendorID, interface->device->vendorID) && matches(productID, interface->device->productID)) {
            append(list, end, makeInfoList(*interface));
        }
    }
    return list;
}

} // namespace qrx::hidapi
