#include "QrxHIDDeviceDelegateInterface.h"

QrxHIDDeviceDelegateInterface::~QrxHIDDeviceDelegateInterface() = default;
