#include "SystemError.h"

#include <system_error>

namespace qrx::platform {

void throwSystemError(int error, const char* what)
{
    throw std::system_error(error, std::generic_category(), what);
}

} // namespace qrx::platform
