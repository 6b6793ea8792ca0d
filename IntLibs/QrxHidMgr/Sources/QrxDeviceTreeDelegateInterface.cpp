#include "QrxDeviceTreeDelegateInterface.h"

QrxDeviceTreeDelegateInterface::~QrxDeviceTreeDelegateInterface() = default;
