#include "doctor/KernelText.h"

#include <sys/utsname.h>

namespace qrxhid {

std::string kernelText()
{
    utsname kernel = {};
    uname(&kernel);
    return std::string(kernel.sysname) + " " + kernel.release + " " + kernel.machine;
}

} // namespace qrxhid
