#include "ErrorText.h"

#include <utility>

namespace qrx::hidapi {

namespace {

/// Empty for success, which takes no memory and so cannot fail.
thread_local std::wstring t_GlobalError;

} // namespace

const wchar_t* textOf(platform::Status status)
{
    using platform::Status;
    // Without a default, so that the compiler tells of a status that has no text.
    switch (status) {
    case Status::success:
        return kSuccess;
    case Status::noMemory:
        return L"There is no memory left";
    case Status::noResources:
        return L"No file descriptor is free";
    case Status::noDevice:
    case Status::notAttached:
        return L"The device has left";
    case Status::notPrivileged:
        return L"Permission denied: 'qrxhid doctor' tells what to do";
    case Status::notPermitted:
        return L"The device may be read only: its node is not writable";
    case Status::badArgument:
        return L"The device has no such report, or not of that length";
    case Status::unsupported:
        return L"The kernel cannot do that";
    case Status::ioError:
        return L"The transfer failed: the device did not answer as it should, or is leaving";
    case Status::timeout:
        return L"The device did not answer in time";
    case Status::pipeStalled:
        return L"The device refused the report (stall)";
    case Status::notOpen:
    case Status::error:
        break;
    }
    return L"The request failed";
}

const wchar_t* globalError() noexcept
{
    return t_GlobalError.empty() ? kSuccess : t_GlobalError.c_str();
}

void setGlobalError(std::wstring text) noexcept
{
    t_GlobalError = std::move(text);
}

void clearGlobalError() noexcept
{
    t_GlobalError.clear();
}

} // namespace qrx::hidapi
