// What the fragments of the documents take for granted: the headers, and names of an application around them.
#include <QrxHIDManager/QrxDeviceIdentity.h>
#include <QrxHIDManager/QrxDeviceTree.h>
#include <QrxHIDManager/QrxFunctions.h>
#include <QrxHIDManager/QrxHandles.h>
#include <QrxHIDManager/QrxInput.h>
#include <QrxHIDManager/QrxInputLoss.h>
#include <QrxHIDManager/QrxRecording.h>
#include <QrxHIDManager/QrxReportLayout.h>
#include <QrxHIDManager/QrxRequests.h>
#include <QrxHIDManager/QrxRunLoop.h>
#include <QrxHIDManager/QrxUsageNames.h>
#include <QrxHIDManager/QrxVersion.h>
#include <QrxHIDManager/QrxVirtualDevice.h>
#include <QrxHIDManager/QrxVirtualScript.h>

#include <cstdio>
#include <iostream>
#include <sstream>
#include <vector>

struct MyDelegate : QrxHIDDeviceDelegateInterface {
    void handleReport(std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override {}
    void handleSetReport(unsigned, unsigned, std::valarray<uint8_t>, mis::swizzler<QrxHIDDevice>, int) override {}
};
