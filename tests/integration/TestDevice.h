#pragma once

#include <QrxVirtualDevice.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// A device in the cases' hand, 1234:5678 with vendor-defined HID interfaces. Which kind it is, is the program's
/// choice: a source that defines `makePart` and `prepare` is linked with the cases. So the same cases run on virtual
/// devices and on those of a real kernel.
///
/// Operations return when all that follows from them waits to be delivered by the run loop. Leaves when destroyed.
class TestDevice {
public:
    using Bytes = std::vector<std::uint8_t>;

    /// What a kind of device has to do.
    class Part {
    public:
        virtual ~Part() = default;
        virtual void plug() = 0;
        virtual void unplug() = 0;
        virtual bool sendInputReport(int interfaceNumber, const Bytes& bytes) = 0;
        virtual std::vector<QrxSentReport> takeSentReports() = 0;
        virtual bool isOpen(int interfaceNumber) = 0;
        virtual QrxVirtualDevice* virtualDevice() { return nullptr; }
    };

    /// With one interface of that descriptor for each of the numbers; without a descriptor they are no HID interfaces.
    TestDevice(const std::string& name, const Bytes& descriptor, const std::vector<int>& interfaceNumbers)
        : _part(makePart(name, descriptor, interfaceNumbers))
    {
    }

    /// Before the first device of a case: who is to be found.
    static void prepare();
    /// So many devices there may be at once.
    static std::size_t mostAtOnce();
    /// So many unread reports of an interface are kept.
    static constexpr std::size_t kQueuedReports = QrxVirtualDevice::kQueuedReports;

    void plug() { _part->plug(); }
    void unplug() { _part->unplug(); }
    /// False if nobody has the interface open.
    bool sendInputReport(int interfaceNumber, const Bytes& bytes)
    {
        return _part->sendInputReport(interfaceNumber, bytes);
    }
    /// What it was sent since the last call, oldest first.
    std::vector<QrxSentReport> takeSentReports() { return _part->takeSentReports(); }
    bool isOpen(int interfaceNumber) { return _part->isOpen(interfaceNumber); }
    /// Null if it is none.
    QrxVirtualDevice* virtualDevice() { return _part->virtualDevice(); }

private:
    static std::unique_ptr<Part> makePart(const std::string& name, const Bytes& descriptor,
                                          const std::vector<int>& interfaceNumbers);

    std::unique_ptr<Part> _part;
};
