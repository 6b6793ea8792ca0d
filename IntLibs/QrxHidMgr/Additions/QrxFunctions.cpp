// Functions in place of delegates: each of the two classes is a delegate that calls the function which the application
// has set for an event, if there is one. While a function runs, it may set another one in its own place, or drop the
// last handle on the device, which deletes this delegate; so the function is held for the call by a reference of its
// own, and no field is used after it.

#include "QrxFunctions.h"

#include <utility>

namespace {

/// Shared, so that a function may replace itself and end its owner while it runs.
template <class Function>
using Kept = std::shared_ptr<const Function>;

template <class Function>
Kept<Function> kept(Function function)
{
    return function ? std::make_shared<const Function>(std::move(function)) : nullptr;
}

template <class Function, class... Arguments>
void call(Kept<Function> function, const Arguments&... arguments)
{
    if (function) {
        (*function)(arguments...);
    }
}

const uint8_t* bytesOf(const std::valarray<uint8_t>& report)
{
    // An empty array has no first element whose address could be taken.
    return report.size() != 0 ? &report[0] : nullptr;
}

} // namespace

struct QrxTreeFunctions::Body {
    mis::swizzler<QrxDeviceTree> tree;
    Kept<DeviceFunction> added;
    Kept<DeviceFunction> removed;
};

QrxTreeFunctions::QrxTreeFunctions(const mis::swizzler<QrxDeviceTree>& tree) : _body(new Body{tree, {}, {}})
{
    _body->tree->setDelegate(this);
}

QrxTreeFunctions::~QrxTreeFunctions()
{
    // The tree may live longer, and it does not own its delegate.
    if (!_body->tree->_hasDelegateOtherThan(this)) {
        _body->tree->setDelegate(nullptr);
    }
}

const mis::swizzler<QrxDeviceTree>& QrxTreeFunctions::getTree() const
{
    return _body->tree;
}

QrxTreeFunctions& QrxTreeFunctions::onAdded(DeviceFunction function)
{
    _body->added = kept(std::move(function));
    return *this;
}

QrxTreeFunctions& QrxTreeFunctions::onRemoved(DeviceFunction function)
{
    _body->removed = kept(std::move(function));
    return *this;
}

void QrxTreeFunctions::deviceAdded(mis::swizzler<QrxHIDDevice> device)
{
    call(_body->added, device);
}

void QrxTreeFunctions::deviceRemoved(mis::swizzler<QrxHIDDevice> device)
{
    call(_body->removed, device);
}

struct QrxDeviceFunctions::Body {
    Kept<ReportFunction> report;
    Kept<SetReportFunction> setReport;
    Kept<std::function<void()>> removed;
    Kept<LossFunction> loss;
};

QrxDeviceFunctions& QrxDeviceFunctions::installOn(QrxHIDDevice& device)
{
    auto* functions = new QrxDeviceFunctions;
    // From here on the device owns the functions and deletes them at its end.
    device.setDelegate(functions);
    return *functions;
}

QrxDeviceFunctions::QrxDeviceFunctions() : _body(std::make_unique<Body>()) {}

QrxDeviceFunctions::~QrxDeviceFunctions() = default;

QrxDeviceFunctions& QrxDeviceFunctions::onReport(ReportFunction function)
{
    _body->report = kept(std::move(function));
    return *this;
}

QrxDeviceFunctions& QrxDeviceFunctions::onSetReport(SetReportFunction function)
{
    _body->setReport = kept(std::move(function));
    return *this;
}

QrxDeviceFunctions& QrxDeviceFunctions::onRemoved(std::function<void()> function)
{
    _body->removed = kept(std::move(function));
    return *this;
}

QrxDeviceFunctions& QrxDeviceFunctions::onPossibleLoss(LossFunction function)
{
    _body->loss = kept(std::move(function));
    return *this;
}

void QrxDeviceFunctions::handleReport(std::valarray<uint8_t> report, mis::swizzler<QrxHIDDevice>, int interfaceNumber)
{
    call(_body->report, bytesOf(report), report.size(), interfaceNumber);
}

void QrxDeviceFunctions::handleSetReport(unsigned int reportType, unsigned int reportID, std::valarray<uint8_t> report,
                                         mis::swizzler<QrxHIDDevice>, int interfaceNumber)
{
    call(_body->setReport, reportType, reportID, bytesOf(report), report.size(), interfaceNumber);
}

void QrxDeviceFunctions::deviceRemoved(mis::swizzler<QrxHIDDevice>)
{
    call(_body->removed);
}

void QrxDeviceFunctions::inputMayBeLost(mis::swizzler<QrxHIDDevice>, int interfaceNumber, uint64_t count)
{
    call(_body->loss, interfaceNumber, count);
}
