/// @file
/// A device and what it sent, as text.
///
/// The classes are values: copies are independent of each other. One that was moved from may be assigned to and
/// destroyed, nothing else. Setters return the object, so that one expression describes it; they check nothing, as the
/// rules are about all facts together (QrxRecording::write).

#ifndef QRX_RECORDING_H
#define QRX_RECORDING_H

#include "QrxExport.h"

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

/// One HID interface of a recorded device.
class QRX_EXPORT QrxRecordedInterface {
public:
    /// Number 0 and no descriptor.
    QrxRecordedInterface();
    QrxRecordedInterface(int number, std::vector<std::uint8_t> reportDescriptor);
    QrxRecordedInterface(const QrxRecordedInterface& other);
    QrxRecordedInterface(QrxRecordedInterface&& other) noexcept;
    QrxRecordedInterface& operator=(QrxRecordedInterface other) noexcept;
    ~QrxRecordedInterface();

    /// USB interface number.
    int getNumber() const;
    QrxRecordedInterface& setNumber(int number);
    const std::vector<std::uint8_t>& getReportDescriptor() const;
    QrxRecordedInterface& setReportDescriptor(std::vector<std::uint8_t> reportDescriptor);
    /// UTF-8; empty for none.
    const std::string& getName() const;
    QrxRecordedInterface& setName(std::string name);
    /// Where the device was plugged, as the recorder wrote it; empty for unknown.
    const std::string& getPhysicalPath() const;
    QrxRecordedInterface& setPhysicalPath(std::string physicalPath);
    std::uint8_t getSubclass() const;
    QrxRecordedInterface& setSubclass(std::uint8_t subclass);
    std::uint8_t getProtocol() const;
    QrxRecordedInterface& setProtocol(std::uint8_t protocol);

private:
    struct Body;
    std::unique_ptr<Body> _body;
};

/// One input report of a recording.
class QRX_EXPORT QrxRecordedEvent {
public:
    /// At time 0, of the first interface, without bytes.
    QrxRecordedEvent();
    QrxRecordedEvent(std::uint64_t timeUs, std::size_t interfaceIndex, std::vector<std::uint8_t> bytes);
    QrxRecordedEvent(const QrxRecordedEvent& other);
    QrxRecordedEvent(QrxRecordedEvent&& other) noexcept;
    QrxRecordedEvent& operator=(QrxRecordedEvent other) noexcept;
    ~QrxRecordedEvent();

    /// Microseconds since the beginning; never decreasing.
    std::uint64_t getTimeUs() const;
    QrxRecordedEvent& setTimeUs(std::uint64_t timeUs);
    /// Index into QrxRecording::getInterfaces().
    std::size_t getInterfaceIndex() const;
    QrxRecordedEvent& setInterfaceIndex(std::size_t interfaceIndex);
    /// As it came from the device: the report's number first, if the device numbers its reports.
    const std::vector<std::uint8_t>& getBytes() const;
    QrxRecordedEvent& setBytes(std::vector<std::uint8_t> bytes);

private:
    struct Body;
    std::unique_ptr<Body> _body;
};

/// A recording that does not parse: what() is "FILE:LINE: reason" in one line that may be shown to a person: control
/// characters and the like are escaped.
class QRX_EXPORT QrxRecordingError : public std::runtime_error {
public:
    QrxRecordingError(const std::string& fileName, std::size_t line, const std::string& reason);
    /// Line of the text, from 1; 0 where the file as a whole is at fault.
    std::size_t getLine() const noexcept { return _line; }

private:
    std::size_t _line;
};

/// A device and what it sent, as text in the format of hid-recorder, which the field's tools read and write:
///
///     D: 0                                  the next lines speak of this interface (where there are several)
///     R: 50 05 01 09 02 ...                 report descriptor: length, bytes in hex
///     N: ACME Mouse                         name
///     P: usb-0000:00:14.0-1/input0          physical path
///     I: 3 04d8 003f                        bus, vendor ID, product ID, in hex
///     E: 000001.250000 4 00 01 ff 00        input report: seconds.microseconds, length, bytes in hex
///     # text                                comment
///
/// What the format lacks stands in comments that begin with "#@", which other tools pass over:
///
///     #@ vendor-name: ACME                  strings of the USB device, UTF-8
///     #@ product-name: Mouse
///     #@ serial-number: 0001
///     #@ release: 0110                      bcdDevice, in hex
///     #@ device-class: 00 00 00             class, subclass, protocol of the device, in hex
///     #@ interface: 1 01 02                 USB interface number (decimal); subclass and protocol in hex
///     #@ interface-name: two\nlines         after N: and P:, a text that those cannot carry
///     #@ physical-path: two\nlines
///     #@ comment: two\nlines
///
/// Texts of these notes have escapes, so that no name can end its line and begin one that is not there: `\\` is a
/// backslash, `\n` and `\r` are the line ends, `\s` and `\t` a blank and a tab at an end of the text. In all other
/// lines a backslash is a backslash.
///
/// All interfaces of a recording belong to one device: their I: lines have the same vendor ID and product ID. Without
/// "#@ interface" the interfaces are numbered in the order in which they appear; without "#@ product-name" the first
/// interface's name is the device's.
class QRX_EXPORT QrxRecording {
public:
    /// A USB device without interfaces, which cannot be written yet.
    QrxRecording();
    QrxRecording(const QrxRecording& other);
    QrxRecording(QrxRecording&& other) noexcept;
    QrxRecording& operator=(QrxRecording other) noexcept;
    ~QrxRecording();

    /// The bus type of the kernel's input system; 3 is USB.
    std::uint16_t getBus() const;
    QrxRecording& setBus(std::uint16_t bus);
    std::uint16_t getVendorID() const;
    QrxRecording& setVendorID(std::uint16_t vendorID);
    std::uint16_t getProductID() const;
    QrxRecording& setProductID(std::uint16_t productID);
    /// bcdDevice: 0x0110 is release 1.10.
    std::uint16_t getReleaseNumber() const;
    QrxRecording& setReleaseNumber(std::uint16_t releaseNumber);
    std::uint8_t getDeviceClass() const;
    QrxRecording& setDeviceClass(std::uint8_t deviceClass);
    std::uint8_t getDeviceSubclass() const;
    QrxRecording& setDeviceSubclass(std::uint8_t deviceSubclass);
    std::uint8_t getDeviceProtocol() const;
    QrxRecording& setDeviceProtocol(std::uint8_t deviceProtocol);
    /// UTF-8; empty where the device has no such string. So are the next two.
    const std::string& getVendorName() const;
    QrxRecording& setVendorName(std::string vendorName);
    const std::string& getProductName() const;
    QrxRecording& setProductName(std::string productName);
    const std::string& getSerialNumber() const;
    QrxRecording& setSerialNumber(std::string serialNumber);

    /// In the order of the file. Change the list in place, or by setInterfaces.
    const std::vector<QrxRecordedInterface>& getInterfaces() const;
    std::vector<QrxRecordedInterface>& getInterfaces();
    QrxRecording& setInterfaces(std::vector<QrxRecordedInterface> interfaces);
    /// In the order of their times.
    const std::vector<QrxRecordedEvent>& getEvents() const;
    std::vector<QrxRecordedEvent>& getEvents();
    QrxRecording& setEvents(std::vector<QrxRecordedEvent> events);
    /// Comment lines without their "# ", in order.
    const std::vector<std::string>& getComments() const;
    std::vector<std::string>& getComments();
    QrxRecording& setComments(std::vector<std::string> comments);

    /// Reads the whole text; `fileName` is for messages only. Throws QrxRecordingError at the first line that is not
    /// understood, states a wrong length, lets time run backwards, or is longer than 256 KiB, and for a text without an
    /// I: line or with an interface without an R: line; nothing half read is ever returned.
    static QrxRecording read(std::istream& text, const std::string& fileName);

    /// Reads a file; one that cannot be opened or read is a QrxRecordingError too.
    static QrxRecording readFile(const std::string& fileName);

    /// Writes text that read() gives back unchanged, whatever flags and locale the stream has. Check the stream's state
    /// for success. Throws std::invalid_argument, before it writes anything, for what read() would not take: no
    /// interface, interface numbers that are not unique or not in 0..255, descriptors, reports or texts above 65,535
    /// bytes, an event of an interface that is not there or earlier than the one before it.
    void write(std::ostream& text) const;

    /// Writes one event line, flushed, as a recorder does while it records. `afterInterface` is the index of the
    /// interface whose lines were written last, which after write() of a recording without events is the last one: a
    /// "D:" line is put before the event where it is of another, and `afterInterface` becomes the event's. Throws as
    /// write() does; only that times do not run backwards is left to the caller.
    void writeEvent(std::ostream& text, const QrxRecordedEvent& event, std::size_t& afterInterface) const;

private:
    struct Body;
    std::unique_ptr<Body> _body;
};

#endif
