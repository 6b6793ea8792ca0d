/// @file
/// USB HID devices made by the program itself, for tests and demonstrations.
///
/// The classes that describe a virtual device are values: copies are independent of each other. One that was moved from
/// may be assigned to and destroyed, nothing else. Setters return the object, so that one expression describes a
/// device:
///
///     QrxVirtualDevice pedal(QrxVirtualIdentity(0x1209, 0x0008).setSerialNumber("T1"),
///                            {QrxVirtualInterface(0, kPedalDescriptor).setName("pedal")});

#ifndef QRX_VIRTUAL_DEVICE_H
#define QRX_VIRTUAL_DEVICE_H

#include "QrxExport.h"
#include "QrxRecording.h"
#include "QrxVirtualScript.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

/// What a virtual USB device says of itself.
class QRX_EXPORT QrxVirtualIdentity {
public:
    /// Release 1.0, no strings, every other number 0.
    QrxVirtualIdentity();
    /// The same with these IDs.
    QrxVirtualIdentity(std::uint16_t vendorID, std::uint16_t productID);
    QrxVirtualIdentity(const QrxVirtualIdentity& other);
    QrxVirtualIdentity(QrxVirtualIdentity&& other) noexcept;
    QrxVirtualIdentity& operator=(QrxVirtualIdentity other) noexcept;
    ~QrxVirtualIdentity();

    std::uint16_t getVendorID() const;
    QrxVirtualIdentity& setVendorID(std::uint16_t vendorID);
    std::uint16_t getProductID() const;
    QrxVirtualIdentity& setProductID(std::uint16_t productID);
    /// bcdDevice: 0x0110 is release 1.10.
    std::uint16_t getReleaseNumber() const;
    QrxVirtualIdentity& setReleaseNumber(std::uint16_t releaseNumber);
    std::uint8_t getDeviceClass() const;
    QrxVirtualIdentity& setDeviceClass(std::uint8_t deviceClass);
    std::uint8_t getDeviceSubclass() const;
    QrxVirtualIdentity& setDeviceSubclass(std::uint8_t deviceSubclass);
    std::uint8_t getDeviceProtocol() const;
    QrxVirtualIdentity& setDeviceProtocol(std::uint8_t deviceProtocol);
    /// UTF-8; empty means that the device has no such string. So are the next two.
    const std::string& getVendorName() const;
    QrxVirtualIdentity& setVendorName(std::string vendorName);
    const std::string& getProductName() const;
    QrxVirtualIdentity& setProductName(std::string productName);
    const std::string& getSerialNumber() const;
    QrxVirtualIdentity& setSerialNumber(std::string serialNumber);

private:
    struct Body;
    std::unique_ptr<Body> _body;
};

/// One USB interface of a virtual device.
class QRX_EXPORT QrxVirtualInterface {
public:
    /// Number 0 and no descriptor.
    QrxVirtualInterface();
    QrxVirtualInterface(int number, std::vector<std::uint8_t> reportDescriptor);
    QrxVirtualInterface(const QrxVirtualInterface& other);
    QrxVirtualInterface(QrxVirtualInterface&& other) noexcept;
    QrxVirtualInterface& operator=(QrxVirtualInterface other) noexcept;
    ~QrxVirtualInterface();

    /// USB interface number, 0 to 255 and unique in the device; QrxVirtualDevice checks it.
    int getNumber() const;
    QrxVirtualInterface& setNumber(int number);
    /// An interface without a descriptor is not a HID interface: it is listed, and no HID driver takes it.
    const std::vector<std::uint8_t>& getReportDescriptor() const;
    QrxVirtualInterface& setReportDescriptor(std::vector<std::uint8_t> reportDescriptor);
    /// UTF-8; empty for none.
    const std::string& getName() const;
    QrxVirtualInterface& setName(std::string name);
    std::uint8_t getSubclass() const;
    QrxVirtualInterface& setSubclass(std::uint8_t subclass);
    std::uint8_t getProtocol() const;
    QrxVirtualInterface& setProtocol(std::uint8_t protocol);

private:
    struct Body;
    std::unique_ptr<Body> _body;
};

/// A report that the application sent to a virtual device.
class QRX_EXPORT QrxSentReport {
public:
    QrxSentReport(int interfaceNumber, unsigned int reportType, unsigned int reportID, std::vector<std::uint8_t> bytes);
    QrxSentReport(const QrxSentReport& other);
    QrxSentReport(QrxSentReport&& other) noexcept;
    QrxSentReport& operator=(QrxSentReport other) noexcept;
    ~QrxSentReport();

    int getInterfaceNumber() const;
    /// 0 input, 1 output, 2 feature.
    unsigned int getReportType() const;
    unsigned int getReportID() const;
    /// As the application gave them: the report's number first, if it is numbered.
    const std::vector<std::uint8_t>& getBytes() const;

private:
    struct Body;
    std::unique_ptr<Body> _body;
};

/// A USB HID device made by the program itself, for tests and demonstrations: once plugged, trees find it, observe it,
/// open it and exchange reports with it exactly as with a real one. Not available on macOS, where the registry is the
/// system's.
///
/// Any thread may use it, one call at a time on one object; a plugged device is seen by every tree of the process.
/// Handlers are called on the thread that sends the report or asks for it, with no lock held: they may do anything,
/// unplug and destroy this object included. Arrivals, removals and input are delivered by the run loops of the threads
/// that observe and open.
///
/// An object that was moved from is no device: it is not plugged, unplugging it does nothing, and any other question or
/// order throws std::logic_error until a device is moved into it.
class QRX_EXPORT QrxVirtualDevice {
public:
    /// Input reports that wait for one reader before further ones are lost: what the Linux kernel keeps.
    static constexpr std::size_t kQueuedReports = 63;

    /// Decides on a sent report: true takes it, false refuses it, as a device that stalls does.
    using SentReportHandler = std::function<bool(const QrxSentReport& report)>;
    /// Answers a request for a report: fills `answer` (the report's number first, if it is numbered) and returns true,
    /// or returns false to refuse. `reportType` as in QrxSentReport.
    using ReportRequestHandler = std::function<bool(int interfaceNumber, unsigned int reportType, unsigned int reportID,
                                                    std::vector<std::uint8_t>& answer)>;

    /// Not plugged yet. Throws std::invalid_argument for interface numbers that are not unique or not in 0..255.
    QrxVirtualDevice(QrxVirtualIdentity identity, std::vector<QrxVirtualInterface> interfaces);
    /// The device of a recording, with its identity, strings and interfaces. Throws as above.
    explicit QrxVirtualDevice(const QrxRecording& recording);
    /// Unplugs.
    ~QrxVirtualDevice();
    QrxVirtualDevice(QrxVirtualDevice&& other) noexcept;
    /// Unplugs the device that was here and lets it go. Moving an object to itself changes nothing.
    QrxVirtualDevice& operator=(QrxVirtualDevice&& other) noexcept;

    const QrxVirtualIdentity& getIdentity() const;

    /// Puts the device into the registry, as a new arrival each time; nothing if it is there.
    void plug();
    /// Takes it out; nothing if it is not there. Reports that wait are still delivered, then the connection is dead.
    void unplug();
    bool isPlugged() const;

    /// How many connections have the interface open.
    std::size_t getOpenCount(int interfaceNumber) const;

    /// Sends an input report to every connection that has the interface open (as with a real device, nobody's input is
    /// kept for later). False if nobody has, if the device is not plugged or has no such HID interface, or if one of
    /// them has kQueuedReports waiting and loses this one. `bytes` begin with the report's number if the device numbers
    /// its reports; their length is not checked against the descriptor, so that faulty devices can be played.
    bool sendInputReport(int interfaceNumber, const std::uint8_t* bytes, std::size_t count);
    bool sendInputReport(int interfaceNumber, const std::vector<std::uint8_t>& bytes);

    /// Whether each connection that has the interface open would take a report now: false while one of them has
    /// kQueuedReports waiting, true where nobody has it open.
    bool hasRoom(int interfaceNumber) const;

    /// Without a handler every report is taken and kept for takeSentReports(), any number of them. An empty function
    /// removes the handler.
    void setSentReportHandler(SentReportHandler handler);
    /// Without a handler, a request is answered by the last report of that type and number that was sent on that
    /// interface, and refused if there is none.
    void setReportRequestHandler(ReportRequestHandler handler);
    /// The reports sent since the last call, oldest first, while no handler was set.
    std::vector<QrxSentReport> takeSentReports();

    /// Obeys the rules of a script from now on, in place of an earlier one's; an empty script ends that. Where a rule
    /// decides on a sent report or a request, the handlers are not asked. What is to happen later happens on the run
    /// loop of the calling thread, which has something to wait for until then.
    void setScript(const QrxVirtualScript& script);

    /// Whether this process sees real devices besides virtual ones. Call with false before the first tree is populated
    /// to test with virtual devices alone. True at the start.
    static void setRealDevicesEnabled(bool enabled);

private:
    friend class QrxRecordingPlayer;
    struct Body;
    Body& _heldBody() const;

    std::shared_ptr<Body> _body;
};

/// Plays the events of a recording through a virtual device, on the run loop of the thread that calls start(); the
/// player is used and destroyed on that thread. The device must have the recording's interfaces. It need not outlive
/// the player and may be moved while it plays; a device that is destroyed is unplugged, and the rest of the recording
/// reaches nobody.
///
/// Events of an interface that nobody has open are lost, as with a real device: open it before start().
class QRX_EXPORT QrxRecordingPlayer {
public:
    /// As fast as the reports are taken: a full queue waits, nothing is lost.
    static constexpr double kAsFastAsTaken = 0;

    /// Throws std::invalid_argument for a recording made by a program that names an interface index out of its
    /// interfaces, or whose events are not in the order of their times.
    QrxRecordingPlayer(QrxRecording recording, QrxVirtualDevice& device);
    /// Stops.
    ~QrxRecordingPlayer();
    QrxRecordingPlayer(const QrxRecordingPlayer&) = delete;
    QrxRecordingPlayer& operator=(const QrxRecordingPlayer&) = delete;

    /// Begins with the first event, also while it plays. `speed` 1 is the recorded speed, 2 twice as fast, 0.5 half;
    /// kAsFastAsTaken (0) sets no pace. Throws std::invalid_argument for a speed that is negative or not a number, and
    /// std::system_error if no file descriptor is free.
    void start(double speed = 1);
    /// Sends nothing more; start() begins anew. The finished handler is not called.
    void stop();
    /// All events have been sent. (They may still wait in the device's queue.)
    bool isFinished() const;
    /// How many events have been sent.
    std::size_t getSentCount() const;
    /// Called on the run loop after the last event was sent; may do anything, destroy the player included.
    void setFinishedHandler(std::function<void()> handler);

private:
    struct Body;
    std::shared_ptr<Body> _body;
};

#endif
