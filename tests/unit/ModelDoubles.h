#pragma once

// Concrete forms of the model's abstract classes, which answer what a test tells them to, and what tests need to look
// at them: a record of what happened, captured streams, printed text with the object ids masked.

#include "QrxDeviceTree.h"
#include "QrxDeviceTreeDelegateInterface.h"
#include "QrxHIDCapability.h"
#include "QrxHIDCollection.h"
#include "QrxHIDDevice.h"
#include "QrxHIDDeviceConnection.h"
#include "QrxHIDDeviceDelegateInterface.h"
#include "QrxHIDReport.h"

#include <functional>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

/// What happened, in order, one line each.
using Events = std::vector<std::string>;

/// Takes over a stream's output for as long as it lives.
class CapturedStream {
public:
    explicit CapturedStream(std::ostream& stream) : _stream(stream), _original(stream.rdbuf(&_buffer)) {}
    CapturedStream(const CapturedStream&) = delete;
    CapturedStream& operator=(const CapturedStream&) = delete;
    ~CapturedStream() { _stream.rdbuf(_original); }

    std::string text() const { return _buffer.str(); }

    /// How often the stream was flushed.
    int flushes() const { return _buffer.flushes; }

private:
    struct CountingBuffer : std::stringbuf {
        int sync() override
        {
            ++flushes;
            return std::stringbuf::sync();
        }
        int flushes = 0;
    };

    CountingBuffer _buffer;
    std::ostream& _stream;
    std::streambuf* _original;
};

/// The object's print with "#" for every object id.
std::string printed(const mis::VPrintable& object, int depth = 0, int indent = 0);

/// The bytes in decimal, separated by blanks.
std::string bytesText(const std::valarray<uint8_t>& bytes);

/// Writes "NAME ends" to the record when the object that has it as a member begins to end.
class Obituary {
public:
    void write(Events& events, const std::string& name)
    {
        _events = &events;
        _name = name;
    }
    Obituary() = default;
    Obituary(const Obituary&) = delete;
    Obituary& operator=(const Obituary&) = delete;
    ~Obituary()
    {
        if (_events != nullptr)
            _events->push_back(_name + " ends");
    }

private:
    Events* _events = nullptr;
    std::string _name;
};

/// A node without a purpose: what stands between an element and its device.
class PlainNode : public QrxDeviceTreeNode {
public:
    Obituary obituary;
};

class FakeCapability : public QrxHIDCapability {
public:
    explicit FakeCapability(int32_t interface = 0, uint32_t report = 0) : interfaceNumber(interface), reportID(report)
    {
    }

    int32_t getInterfaceNumber() const override { return interfaceNumber; }
    uint32_t getReportID() const override { return reportID; }
    uint32_t getUsagePage() const override { return 0; }
    uint32_t getUsage() const override { return 0; }
    uint32_t getReportCount() const override { return 0; }
    size_t getReportSize() const override { return 0; }
    uint32_t getMinValue() const override { return minValue; }
    uint32_t getMaxValue() const override { return maxValue; }
    uint32_t getScaledMinValue() const override { return 0; }
    uint32_t getScaledMaxValue() const override { return 0; }
    size_t getSize() const override { return 0; }
    uint32_t getType() const override { return 0; }
    uint32_t getUnit() const override { return 0; }
    uint32_t getUnitExponent() const override { return 0; }
    uint32_t getFlags() const override { return 0; }
    bool isArray() const override { return false; }
    bool isRelative() const override { return false; }
    bool isNonLinear() const override { return false; }
    bool isWrapping() const override { return false; }
    bool hasNullState() const override { return false; }
    bool hasPreferedState() const override { return false; }

    int32_t interfaceNumber;
    uint32_t reportID;
    uint32_t minValue = 0;
    uint32_t maxValue = 0;
    Obituary obituary;
};

class FakeCollection : public QrxHIDCollection {
public:
    int32_t getInterfaceNumber() const override { return interfaceNumber; }
    uint32_t getReportID() const override { return reportID; }
    uint32_t getUsagePage() const override { return 0; }
    uint32_t getUsage() const override { return 0; }

    int32_t interfaceNumber = 0;
    uint32_t reportID = 0;
    Obituary obituary;
};

class FakeReport : public QrxHIDReport {
public:
    explicit FakeReport(int interfaceNumber = 0, unsigned int reportID = 0)
    {
        _setInterfaceNumber(interfaceNumber);
        _setReportID(reportID);
    }

    uint32_t getUsagePage() const override { return 0; }
    uint32_t getUsage() const override { return 0; }
    size_t getReportSize() const override
    {
        asked.push_back("getReportSize");
        return sizeBits;
    }
    int32_t getReportType() const override
    {
        asked.push_back("getReportType");
        return type;
    }

    size_t sizeBits = 0;
    int32_t type = 0;
    mutable Events asked;
    Obituary obituary;
};

class FakeDevice : public QrxHIDDevice {
public:
    explicit FakeDevice(int newIdentity = 0) : identity(newIdentity) {}

    using QrxHIDDevice::_addReport;

    void open() override {}
    void close() override {}
    uint32_t getVendorID() const override { return 0; }
    uint32_t getProductID() const override { return 0; }
    std::string getVendorName() const override { return vendorName; }
    std::string getProductName() const override { return productName; }
    uint32_t getClass() const override { return 0; }
    uint32_t getSubclass() const override { return 0; }
    uint32_t getProtocol() const override { return 0; }
    uint32_t getReleaseNumber() const override { return 0; }
    bool isHID() const override { return hid; }
    uint32_t getPrimaryUsagePage(int) const override { return 0; }
    uint32_t getPrimaryUsage(int) const override { return 0; }
    size_t getInputReportSize() const override { return 0; }
    size_t getInputReportSize(int) const override { return 0; }
    size_t getOutputReportSize() const override { return 0; }
    size_t getOutputReportSize(int) const override { return 0; }
    size_t getFeatureReportSize() const override { return 0; }
    size_t getFeatureReportSize(int) const override { return 0; }
    void _addReport(int interfaceNumber, unsigned int reportID, std::vector<QrxHIDCapabilityPtr> capabilities) override
    {
        auto* const report = new FakeReport(interfaceNumber, reportID);
        report->_addCapabilities(capabilities);
        QrxHIDDevice::_addReport(mis::swizzler<QrxHIDReport>(report));
    }
    size_t getElementCount() const override
    {
        asked.push_back("getElementCount");
        return elements.size();
    }
    QrxHIDElementPtr getElementAtIndex(unsigned int index) const override
    {
        return index < elements.size() ? elements[index] : QrxHIDElementPtr();
    }
    /// Devices with one identity, other than 0, are equal.
    bool operator==(const QrxHIDDevice& other) const override
    {
        const auto* const fake = dynamic_cast<const FakeDevice*>(&other);
        return QrxHIDDevice::operator==(other) || (fake != nullptr && identity != 0 && identity == fake->identity);
    }
    void setReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                   int interfaceNumber) override
    {
        sent.push_back("type " + std::to_string(reportType) + " id " + std::to_string(reportID) + " interface " +
                       std::to_string(interfaceNumber) + " bytes [" + bytesText(report) + "]");
        if (_delegate != nullptr)
            _delegate->handleSetReport(reportType, reportID, report, mis::swizzler<QrxHIDDevice>(this),
                                       interfaceNumber);
    }

    int identity;
    bool hid = true;
    std::string vendorName;
    std::string productName;
    std::vector<QrxHIDElementPtr> elements;
    mutable Events asked;
    Events sent;
    Obituary obituary;
};

class FakeTree : public QrxDeviceTree {
public:
    using QrxDeviceTree::observe;
    using QrxDeviceTree::populate;

    void populate(const std::vector<std::pair<unsigned short, unsigned short>>& ids) override
    {
        QrxDeviceTree::populate(ids);
    }
    void observe(const std::vector<std::pair<unsigned short, unsigned short>>& ids) override
    {
        QrxDeviceTree::observe(ids);
    }

    Obituary obituary;
};

class FakeConnection : public QrxHIDDeviceConnection {
public:
    void open() override {}
    void close() override {}
    void setReport(unsigned int, unsigned int, std::valarray<uint8_t>) override {}

    Obituary obituary;
};

/// Does what the test says when a device is added, and keeps count.
class ScriptedTreeDelegate : public QrxDeviceTreeDelegateInterface {
public:
    void deviceAdded(mis::swizzler<QrxHIDDevice> device) override
    {
        ++calls;
        if (onDeviceAdded)
            onDeviceAdded(device);
    }

    std::function<void(mis::swizzler<QrxHIDDevice>&)> onDeviceAdded;
    int calls = 0;
};

/// Records what it is told, and does what the test says on top.
class ScriptedDeviceDelegate : public QrxHIDDeviceDelegateInterface {
public:
    explicit ScriptedDeviceDelegate(Events& events) : _events(events) {}
    ~ScriptedDeviceDelegate() override
    {
        _events.push_back("delegate ends");
        if (onEnd)
            onEnd();
    }

    void handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override
    {
        _events.push_back("report [" + bytesText(report) + "] interface " + std::to_string(interfaceNumber));
        if (onReport)
            onReport(report, device);
    }

    void handleSetReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                         mis::swizzler<QrxHIDDevice> device, int interfaceNumber) override
    {
        _events.push_back("set type " + std::to_string(reportType) + " id " + std::to_string(reportID) + " [" +
                          bytesText(report) + "] interface " + std::to_string(interfaceNumber));
        if (onReport)
            onReport(report, device);
    }

    std::function<void(std::valarray<uint8_t>&, mis::swizzler<QrxHIDDevice>&)> onReport;
    std::function<void()> onEnd;

private:
    Events& _events;
};
