#pragma once

#include "devices/DeviceIdentity.h"
#include "devices/InputMeter.h"
#include "text/Terminal.h"

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace qrxhid {

/// What top says of one interface.
struct TopRow {
    unsigned int deviceNumber = 0;
    DeviceIdentity ids;
    /// For a person.
    std::string deviceTitle;
    int interfaceNumber = 0;
    bool isOpen = false;
    bool hasLeft = false;
    InputFigures figures;
    /// Since the interface was opened.
    std::uint64_t possibleLosses = 0;
};

/// What top says at one moment: of the period since the last one, or in the end of the whole time.
struct TopUpdate {
    bool isTotal = false;
    /// Since the beginning.
    double time = 0;
    /// Rows of one device stand together.
    std::vector<TopRow> rows;
};

/// A heading, and a line for each device and interface.
std::vector<std::string> topTable(const TopUpdate& update, const Terminal& terminal);

/// A heading for lines that stand alone, and those lines, one for each interface.
std::string topHeading();
void writeTopLines(std::ostream& out, const TopUpdate& update);

/// One line of JSON.
std::string topJson(const TopUpdate& update);

} // namespace qrxhid
