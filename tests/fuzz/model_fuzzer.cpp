// A device with any descriptors, from its arrival to its end, as an application meets it: the tree is walked and
// printed, reports go both ways, and nothing of it stays.

#include "Failure.h"
#include "FuzzedDevice.h"

#include "QrxDeviceTree.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxHIDCollection.h"
#include "QrxHIDDeviceDelegateInterface.h"
#include "QrxHIDReport.h"
#include "QrxReportDecoder.h"
#include "QrxRunLoop.h"

#include <algorithm>
#include <iostream>
#include <streambuf>

namespace {

/// Takes everything and keeps its length.
class Counter : public std::streambuf {
public:
    std::streamsize count = 0;

protected:
    int_type overflow(int_type character) override
    {
        ++count;
        return traits_type::not_eof(character);
    }
    std::streamsize xsputn(const char*, std::streamsize length) override
    {
        count += length;
        return length;
    }
};

struct Arrivals : QrxDeviceTreeDelegateInterface {
    void deviceAdded(mis::swizzler<QrxHIDDevice> device) override
    {
        ++count;
        require(bool(device), "an arrival has its device");
    }
    int count = 0;
};

class Listener : public QrxHIDDeviceDelegateInterface {
public:
    explicit Listener(std::vector<FuzzedReport>& received) : _received(received) {}

    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override
    {
        const std::vector<std::uint8_t> bytes(std::begin(report), std::end(report));
        QrxDecodeReport(*device, 0, bytes.data(), bytes.size(), interfaceNumber);
        _received.push_back({interfaceNumber, 0, bytes});
    }
    void handleSetReport(unsigned int, unsigned int, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override
    {
    }

private:
    std::vector<FuzzedReport>& _received;
};

void run()
{
    // An iteration hands on what waits; a device cannot keep the loop busy by itself.
    int left = 1000;
    while (QrxRunLoop::getCurrent().runOnce(0) == QrxRunLoop::Outcome::handled) {
        require(--left > 0, "the loop comes to rest");
    }
}

void walkCapability(const QrxHIDCapability& field, const QrxHIDDevice& device)
{
    require(field.getDevice().get() == &device, "a field knows its device");
    require(field.getReportSize() * field.getReportCount() == field.getSize() || field.getReportCount() == 0 ||
                field.getSize() != 0,
            "a field with bits has a size");
    for (const std::uint32_t number :
         {field.getMinValue(), field.getMaxValue(), field.getScaledMinValue(), field.getScaledMaxValue(),
          field.getUnit(), field.getUnitExponent(), field.getFlags(), field.getType(), field.getReportID(),
          field.getUsagePage(), field.getUsage()}) {
        static_cast<void>(number);
    }
}

std::size_t walk(const QrxHIDElementPtr& element, const QrxHIDDevice& device)
{
    require(bool(element), "an element is there");
    if (const auto* field = dynamic_cast<const QrxHIDCapability*>(element.get())) {
        walkCapability(*field, device);
        return 1;
    }
    const auto* collection = dynamic_cast<const QrxHIDCollection*>(element.get());
    require(collection != nullptr, "an element is a field or a collection");
    require(collection->getCollectionCount() + collection->getCapabilityCount() == collection->getElementCount(),
            "a collection counts its children");
    std::size_t fields = 0;
    for (unsigned int i = 0; i < collection->getElementCount(); ++i) {
        fields += walk(collection->getElementAtIndex(i), device);
    }
    return fields;
}

void walkDevice(const QrxHIDDevice& device)
{
    std::size_t fields = 0;
    for (unsigned int i = 0; i < device.getElementCount(); ++i) {
        fields += walk(device.getElementAtIndex(i), device);
    }
    std::size_t inReports = 0;
    for (unsigned int i = 0; i < device.getReportCount(); ++i) {
        const mis::swizzler<QrxHIDReport> report = device.getReportAtIndex(i);
        inReports += report->getCapabilityCount();
        require(device.getReport(report->getInterfaceNumber(), report->getReportID()) == report,
                "a report is found by its number");
        report->getReportSize();
        report->getReportType();
    }
    require(inReports == fields, "every field is in one report");
    Counter counter;
    std::ostream out(&counter);
    device.print(out, 0, 0);
    require(counter.count > 0, "a device has a description");
}

/// As many input reports of an interface as are opened come, in their order, none longer than the largest declared.
void requireInput(const FuzzedDevice& fuzzed, const std::vector<FuzzedReport>& received, const QrxHIDDevice& device,
                  const std::vector<bool>& taken)
{
    for (int interface = 0; interface < 2; ++interface) {
        std::vector<std::vector<std::uint8_t>> expected;
        for (std::size_t i = 0; i < fuzzed.reports.size(); ++i) {
            if (taken[i] && fuzzed.reports[i].interfaceNumber == interface) {
                expected.push_back(fuzzed.reports[i].bytes);
                expected.back().resize(std::min(expected.back().size(), device.getInputReportSize(interface)));
            }
        }
        std::vector<std::vector<std::uint8_t>> found;
        for (const FuzzedReport& report : received) {
            if (report.interfaceNumber == interface) {
                found.push_back(report.bytes);
            }
        }
        require(found == expected, "every report that was taken arrives, in order and whole");
    }
}

void exchangeReports(QrxVirtualDevice& plugged, const FuzzedDevice& fuzzed, QrxHIDDevice& device)
{
    std::vector<FuzzedReport> received;
    Listener listener(received);
    device.setDelegate(&listener);
    device.open();
    std::vector<bool> taken;
    for (const FuzzedReport& report : fuzzed.reports) {
        taken.push_back(report.type == 0 && plugged.sendInputReport(report.interfaceNumber, report.bytes));
        if (report.type != 0) {
            const std::valarray<std::uint8_t> bytes(report.bytes.data(), report.bytes.size());
            device.setReport(report.type, report.bytes.empty() ? 0 : report.bytes[0], bytes, report.interfaceNumber);
        }
    }
    run();
    requireInput(fuzzed, received, device, taken);
    device.close();
    run();
    device.setDelegate(nullptr);
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    ::setenv("QRX_LOG", "off", 1);
    QrxVirtualDevice::setRealDevicesEnabled(false);
    // Notices of the model to people.
    static Counter sm_Nowhere;
    std::cout.rdbuf(&sm_Nowhere);
    std::cerr.rdbuf(&sm_Nowhere);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const FuzzedDevice fuzzed(data, size);
    Arrivals arrivals;
    const mis::swizzler<QrxDeviceTree> tree = QrxDeviceTree::NewInstance();
    tree->setDelegate(&arrivals);
    tree->observe(0x1209, 0);
    QrxVirtualDevice plugged = fuzzed.makeDevice();
    for (int life = 0; life < 2; ++life) {
        plugged.plug();
        run();
        const unsigned int count = tree->getHIDDeviceCount();
        require(count <= 1 && arrivals.count == static_cast<int>(count) * (life + 1), "one arrival of each life");
        if (count == 1) {
            const mis::swizzler<QrxHIDDevice> device = tree->getDeviceAtIndex(0);
            walkDevice(*device);
            exchangeReports(plugged, fuzzed, *device);
        }
        plugged.unplug();
        run();
        require(tree->getHIDDeviceCount() == 0, "what has left is not listed");
    }
    return 0;
}
