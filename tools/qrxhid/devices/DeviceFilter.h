#pragma once

#include "devices/DeviceFacts.h"
#include "devices/DeviceSelector.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace qrxhid {

class OptionSet;

/// The options that choose devices. What is given restricts the choice together; several --device add up.
class DeviceFilter {
public:
    void declareOptions(OptionSet& options);
    /// Throws UsageError. `words` are further devices, named without an option.
    void checkOptions(std::span<const std::string> words = {});

    bool isEverything() const { return _selectors.empty() && !_serialNumber && !_place && !_interface; }
    bool matches(const DeviceFacts& device) const;
    /// What of the choice is not there, for messages: "0dea:* with serial number 7"; empty if everything is.
    std::string absentPart(std::span<const DeviceFacts> present) const;
    /// Whether a device is chosen by its `#n`.
    bool hasNumbers() const;

    /// The only interface that is meant.
    bool hasInterface(int number) const { return !_interface || *_interface == number; }
    /// Those of them that are meant.
    std::vector<int> chosenOf(std::vector<int> interfaces) const;

private:
    bool meetsConditions(const DeviceFacts& device) const;
    std::string conditionsText() const;

    std::vector<std::string> _deviceTexts;
    std::optional<std::string> _serialNumber;
    std::optional<std::string> _place;
    std::optional<std::string> _interfaceText;
    std::vector<DeviceSelector> _selectors;
    std::optional<int> _interface;
};

/// For each device the shortest option that means it and no other of them: "--device 1209:0002", "--serial 7",
/// "--port 1-2.1" or "--device=#3".
std::vector<std::string> optionsThatTellApart(std::span<const DeviceFacts> devices);

} // namespace qrxhid
