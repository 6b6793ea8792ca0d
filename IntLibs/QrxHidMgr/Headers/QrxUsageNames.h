/// @file
/// Names of usage pages and usages, for people, and units.

#ifndef QRX_USAGE_NAMES_H
#define QRX_USAGE_NAMES_H

#include "QrxExport.h"

#include <cstdint>
#include <string>

/// The version of the HID Usage Tables that the names are from: "1.6". A later version of the library may have later
/// tables: names are for people, programs compare numbers.
QRX_EXPORT const char* QrxGetUsageTablesVersion();

/// "Generic Desktop" for 0x01; "" for a page without a name, those of vendors (from 0xFF00 on) among them. UTF-8.
QRX_EXPORT std::string QrxGetUsagePageName(uint32_t usagePage);

/// "Wheel" for 0x38 of page 0x01, "Button 3" for 3 of page 0x09; "" for a usage without a name. UTF-8.
QRX_EXPORT std::string QrxGetUsageName(uint32_t usagePage, uint32_t usage);

/// The symbols of a field's unit (QrxReportField::getUnit), without a power of ten, which getPhysicalValue has applied:
/// "cm s^-2" for 0xE011. "" for no unit and for what HID 1.11, 6.2.2.7 does not define.
QRX_EXPORT std::string QrxGetUnitText(uint32_t unit);

#endif
