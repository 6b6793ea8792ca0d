#include "Base/Log.h"

#include <gtest/gtest.h>

namespace qrx::platform {
namespace {

TEST(Log, WritesOneLineWhateverTheTextIs)
{
    testing::internal::CaptureStderr();
    log(LogLevel::error, "the device \"a\nQrxHIDManager: all is well\x1b[2J\xC2\x9B\xE2\x80\xAE\" is odd");
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "QrxHIDManager: the device \"a\\x0aQrxHIDManager: all is well\\x1b[2J\\u{9b}\\u{202e}\" is odd\n");
}

} // namespace
} // namespace qrx::platform
