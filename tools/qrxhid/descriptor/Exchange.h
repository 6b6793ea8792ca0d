#pragma once

#include "descriptor/ReportSearch.h"
#include "devices/DeviceSession.h"

namespace qrxhid {

/// The one device that a report goes to or comes from, with the descriptors of the interfaces that may be meant.
struct ExchangePartner {
    DeviceHandle handle;
    std::vector<InterfaceDescriptor> descriptors;

    /// Throws UsageError, UnknownDevice. An empty handle if no recording could be read.
    static ExchangePartner choose(DeviceSession& session, const DeviceFilter& filter, const std::string& command);
};

} // namespace qrxhid
