#pragma once

#include "ExitStatus.h"
#include "devices/DeviceChoice.h"

#include <cstdint>
#include <string>
#include <vector>

namespace qrxhid {

class OptionSet;

/// The report descriptor of one interface, and whose it is.
struct InterfaceDescriptor {
    /// "1209:0002  Qrx Demo Wheel Mouse", or the name of a file; may be shown to a person.
    std::string title;
    DeviceIdentity ids;
    int interfaceNumber = 0;
    std::vector<std::uint8_t> bytes;
};

/// The options by which a command is told which report descriptors to work on: those of devices, of recordings, or of
/// files that hold nothing else.
class DescriptorSource {
public:
    void declareOptions(OptionSet& options);
    /// Throws UsageError.
    void checkOptions();

    /// Nothing is named: it would be the devices of the machine.
    bool isEverything() const { return _files.empty() && !_choice.hasRecordings() && _choice.filter().isEverything(); }
    /// As if the command line had named it.
    void addRecording(const std::string& file) { _choice.addRecordings({file}); }

    struct Found {
        std::vector<InterfaceDescriptor> descriptors;
        /// Not success where a file could not be read; that has been told.
        ExitStatus status = kSuccess;
    };
    /// Reads them. A recording is not plugged in for it, so a descriptor that makes no device is found as well. Throws
    /// UnknownDevice.
    Found read() const;

private:
    void addFiles(Found& found) const;
    void addRecordings(Found& found) const;
    void addDevices(Found& found) const;

    DeviceChoice _choice;
    std::vector<std::string> _files;
};

/// A report descriptor from the content of a file: numbers in hexadecimal, with or without 0x, as in C source; bytes as
/// they are where the file is not such a text.
std::vector<std::uint8_t> descriptorFromFile(const std::string& content);

} // namespace qrxhid
