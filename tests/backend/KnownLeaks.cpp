// What the backend keeps on purpose, for the leak checker of the sanitizers: the "Elements" that a walk reads, the
// number that sizes a report buffer, and what a connection that is dropped open leaves behind.

extern "C" const char* __lsan_default_suppressions();

extern "C" const char* __lsan_default_suppressions()
{
    return "leak:_QrxHIDInterfaceMac::_findElements\n"
           "leak:_QrxHIDDeviceConnectionImpl::_getMaxInputReportSize\n"
           "leak:_QrxHIDDeviceConnectionImpl::_startInterruptReports\n"
           "leak:_QrxHIDDeviceConnectionImpl::_startQueue\n";
}
