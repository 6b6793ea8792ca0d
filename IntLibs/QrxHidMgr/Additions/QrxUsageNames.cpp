#include "QrxUsageNames.h"

#include "HID/Units.h"
#include "HID/UsageTables.h"

const char* QrxGetUsageTablesVersion()
{
    return qrx::hid::kUsageTablesVersion;
}

std::string QrxGetUsagePageName(uint32_t usagePage)
{
    return qrx::hid::usagePageName(usagePage);
}

std::string QrxGetUsageName(uint32_t usagePage, uint32_t usage)
{
    return qrx::hid::usageName(usagePage, usage);
}

std::string QrxGetUnitText(uint32_t unit)
{
    return qrx::hid::unitText(unit);
}
