#pragma once

/// Property keys and enumerations of the HID family.

#include <cstdint>

#define kIOHIDDeviceKey "IOHIDDevice"
#define kIOHIDTransportKey "Transport"
#define kIOHIDVendorIDKey "VendorID"
#define kIOHIDProductIDKey "ProductID"
#define kIOHIDVersionNumberKey "VersionNumber"
#define kIOHIDManufacturerKey "Manufacturer"
#define kIOHIDProductKey "Product"
#define kIOHIDSerialNumberKey "SerialNumber"
#define kIOHIDLocationIDKey "LocationID"
#define kIOHIDCountryCodeKey "CountryCode"
#define kIOHIDPrimaryUsageKey "PrimaryUsage"
#define kIOHIDPrimaryUsagePageKey "PrimaryUsagePage"
#define kIOHIDDeviceUsagePairsKey "DeviceUsagePairs"
#define kIOHIDDeviceUsageKey "DeviceUsage"
#define kIOHIDDeviceUsagePageKey "DeviceUsagePage"
#define kIOHIDMaxInputReportSizeKey "MaxInputReportSize"
#define kIOHIDMaxOutputReportSizeKey "MaxOutputReportSize"
#define kIOHIDMaxFeatureReportSizeKey "MaxFeatureReportSize"
#define kIOHIDReportIntervalKey "ReportInterval"
#define kIOHIDReportDescriptorKey "ReportDescriptor"
#define kIOHIDElementKey "Elements"
#define kIOHIDElementCookieKey "ElementCookie"
#define kIOHIDElementTypeKey "Type"
#define kIOHIDElementCollectionTypeKey "CollectionType"
#define kIOHIDElementUsageKey "Usage"
#define kIOHIDElementUsagePageKey "UsagePage"
#define kIOHIDElementMinKey "Min"
#define kIOHIDElementMaxKey "Max"
#define kIOHIDElementScaledMinKey "ScaledMin"
#define kIOHIDElementScaledMaxKey "ScaledMax"
#define kIOHIDElementSizeKey "Size"
#define kIOHIDElementReportSizeKey "ReportSize"
#define kIOHIDElementReportCountKey "ReportCount"
#define kIOHIDElementReportIDKey "ReportID"
#define kIOHIDElementIsArrayKey "IsArray"
#define kIOHIDElementIsRelativeKey "IsRelative"
#define kIOHIDElementIsWrappingKey "IsWrapping"
#define kIOHIDElementIsNonLinearKey "IsNonLinear"
#define kIOHIDElementHasPreferredStateKey "HasPreferredState"
#define kIOHIDElementHasNullStateKey "HasNullState"
#define kIOHIDElementFlagsKey "Flags"
#define kIOHIDElementUnitKey "Unit"
#define kIOHIDElementUnitExponentKey "UnitExponent"
#define kIOHIDElementDuplicateIndexKey "DuplicateIndex"

enum IOHIDElementType {
    kIOHIDElementTypeInput_Misc = 1,
    kIOHIDElementTypeInput_Button = 2,
    kIOHIDElementTypeInput_Axis = 3,
    kIOHIDElementTypeInput_ScanCodes = 4,
    kIOHIDElementTypeOutput = 129,
    kIOHIDElementTypeFeature = 257,
    kIOHIDElementTypeCollection = 513
};

enum IOHIDElementCollectionType {
    kIOHIDElementCollectionTypePhysical = 0,
    kIOHIDElementCollectionTypeApplication,
    kIOHIDElementCollectionTypeLogical,
    kIOHIDElementCollectionTypeReport,
    kIOHIDElementCollectionTypeNamedArray,
    kIOHIDElementCollectionTypeUsageSwitch,
    kIOHIDElementCollectionTypeUsageModifier
};

enum IOHIDReportType {
    kIOHIDReportTypeInput = 0,
    kIOHIDReportTypeOutput,
    kIOHIDReportTypeFeature,
    kIOHIDReportTypeCount
};

using IOHIDElementCookie = std::uint32_t;
