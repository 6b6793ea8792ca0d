#include "QrxDeviceTreeRemovalInterface.h"

QrxDeviceTreeRemovalInterface::~QrxDeviceTreeRemovalInterface() = default;
