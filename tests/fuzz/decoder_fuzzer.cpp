// Any reports of a device with any descriptors: what they decode to is within the report and the field, and the same
// that the elements of the interface say, read bit by bit.

#include "Failure.h"
#include "FuzzedDevice.h"
#include "HID/ElementTree.h"

#include "QrxDeviceTree.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxReportDecoder.h"

#include <algorithm>
#include <set>
#include <sstream>

namespace {

using namespace qrx::hid;

struct Quiet : QrxDeviceTreeDelegateInterface {
    void deviceAdded(mis::swizzler<QrxHIDDevice>) override {}
};

std::string textOf(std::uint32_t page, std::uint32_t usage, std::int64_t value, std::size_t offset, std::size_t bits)
{
    std::ostringstream text;
    text << std::hex << page << "/" << usage << std::dec << "=" << value << " @" << offset << "+" << bits << "\n";
    return text.str();
}

std::string checkedText(const std::vector<QrxDecodedValue>& values, std::size_t reportBytes)
{
    std::string text;
    std::size_t last = 0;
    for (const QrxDecodedValue& value : values) {
        const std::size_t bits = value.getSizeBits();
        require(value.getBitOffset() >= last, "values in the order of their place");
        last = value.getBitOffset();
        require(bits >= 1 && bits <= 64 && last + bits <= reportBytes * 8, "a value within the report");
        if (value.isSigned()) {
            require(value.getValue() >> (bits - 1) == 0 || value.getValue() >> (bits - 1) == -1, "a signed value fits");
        } else {
            require(bits == 64 || value.getUnsignedValue() >> bits == 0, "an unsigned value fits");
        }
        text += textOf(value.getUsagePage(), value.getUsage(), value.getValue(), last, bits);
    }
    return text;
}

/// What the elements of one interface say of reports.
class ElementReading {
public:
    explicit ElementReading(std::span<const std::uint8_t> bytes)
    {
        Descriptor descriptor = parseReportDescriptor(bytes);
        const std::size_t diagnoses = descriptor.diagnoses.size() + descriptor.unlistedDiagnoses;
        _tree = buildElementTree(descriptor);
        _isWhole = descriptor.diagnoses.size() + descriptor.unlistedDiagnoses == diagnoses;
    }

    /// False where there were too many elements, so that some are missing.
    bool isWhole() const { return _isWhole; }

    std::string textOf(const FuzzedReport& report) const
    {
        std::vector<Shown> shown;
        for (std::size_t cookie = 0; cookie < _tree.elements.size(); ++cookie) {
            const Element& element = _tree.elements[cookie];
            const bool isReadable = isOf(element, report) && element.reportSize >= 1 && element.reportSize <= 64 &&
                                    (element.flags & kFieldConstant) == 0;
            if (isReadable && element.role == ElementRole::field) {
                addValues(element, report.bytes, shown);
            } else if (isReadable && element.role == ElementRole::arrayHead) {
                addSelections(cookie, report.bytes, shown);
            }
        }
        std::ranges::stable_sort(shown, {}, &Shown::bitOffset);
        std::string text;
        for (const Shown& one : shown) {
            text += one.text;
        }
        return text;
    }

private:
    struct Shown {
        std::size_t bitOffset;
        std::string text;
    };

    bool isOf(const Element& element, const FuzzedReport& report) const
    {
        if (report.bytes.empty() || element.reportID != (_tree.usesReportIDs ? report.bytes[0] : 0)) {
            return false;
        }
        switch (element.type) {
        case ElementType::inputMisc:
        case ElementType::inputButton:
            return report.type == 0;
        case ElementType::output:
            return report.type == 1;
        case ElementType::feature:
            return report.type == 2;
        case ElementType::collection:
            return false;
        }
        return false;
    }

    /// The value at `index` of those that a head counts; none if the report ends before.
    static std::optional<std::int64_t> valueAt(const Element& head, std::uint32_t index,
                                               std::span<const std::uint8_t> bytes)
    {
        const std::size_t offset = head.bitOffset + std::size_t{index} * head.reportSize;
        if (offset + head.reportSize > bytes.size() * 8) {
            return std::nullopt;
        }
        bool bit = false;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < 64; ++i) {
            // The last bit is the sign, which goes on.
            bit = i < head.reportSize ? (bytes[(offset + i) / 8] >> (offset + i) % 8 & 1) != 0 : bit && head.min < 0;
            value |= std::uint64_t{bit} << i;
        }
        return static_cast<std::int64_t>(value);
    }

    static void addValues(const Element& head, std::span<const std::uint8_t> bytes, std::vector<Shown>& shown)
    {
        for (std::uint32_t i = 0; i < head.reportCount; ++i) {
            const std::optional<std::int64_t> value = valueAt(head, i, bytes);
            if (!value) {
                return;
            }
            const std::size_t offset = head.bitOffset + std::size_t{i} * head.reportSize;
            shown.push_back({offset, ::textOf(head.usagePage, head.usage, *value, offset, head.reportSize)});
        }
    }

    void addSelections(std::size_t cookie, std::span<const std::uint8_t> bytes, std::vector<Shown>& shown) const
    {
        const Element& head = _tree.elements[cookie];
        std::vector<const Element*> selectors;
        for (std::size_t next = cookie + 1; next < _tree.elements.size(); ++next) {
            const ElementRole role = _tree.elements[next].role;
            if (role == ElementRole::arraySelector) {
                selectors.push_back(&_tree.elements[next]);
            } else if (role != ElementRole::arraySlot) {
                break;
            }
        }
        std::set<std::size_t> seen;
        for (std::uint32_t i = 0; i < head.reportCount; ++i) {
            const std::optional<std::int64_t> entry = valueAt(head, i, bytes);
            if (!entry) {
                return;
            }
            // Below the minimum the difference wraps round and is far above any selector.
            const std::uint64_t selector =
                static_cast<std::uint64_t>(*entry) - static_cast<std::uint64_t>(std::int64_t{head.min});
            if (selector < selectors.size() && selectors[selector]->usage != 0 && seen.insert(selector).second) {
                const Element& usage = *selectors[selector];
                const std::size_t offset = head.bitOffset + std::size_t{i} * head.reportSize;
                shown.push_back({offset, ::textOf(usage.usagePage, usage.usage, 1, offset, head.reportSize)});
            }
        }
    }

    ElementTree _tree;
    bool _isWhole = false;
};

void decode(const QrxHIDDevice& device, const FuzzedDevice& fuzzed)
{
    std::vector<ElementReading> readings(fuzzed.descriptors.begin(), fuzzed.descriptors.end());
    for (const FuzzedReport& report : fuzzed.reports) {
        const std::vector<QrxDecodedValue> values =
            QrxDecodeReport(device, report.type, report.bytes.data(), report.bytes.size(), report.interfaceNumber);
        const std::string text = checkedText(values, report.bytes.size());
        const auto interface = static_cast<std::size_t>(report.interfaceNumber);
        if (report.type > 2 || interface >= readings.size()) {
            require(text.empty(), "no values of what is not there");
        } else if (readings[interface].isWhole()) {
            require(std::ranges::all_of(values, [](const auto& value) { return bool(value.getCapability()); }),
                    "a field of each value");
            const std::string expected = readings[interface].textOf(report);
            if (text != expected) {
                fail("decoded\n" + text + "but the elements say\n" + expected);
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    ::setenv("QRX_LOG", "off", 1);
    QrxVirtualDevice::setRealDevicesEnabled(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const FuzzedDevice fuzzed(data, size);
    QrxVirtualDevice plugged = fuzzed.makeDevice();
    plugged.plug();
    Quiet quiet;
    const mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&quiet);
    tree->populate(0x1209, 0);
    if (tree->getHIDDeviceCount() != 0) {
        decode(*tree->getDeviceAtIndex(0), fuzzed);
    }
    return 0;
}
