// The library's devices in a libuv loop.
#include "MouseWatch.h"

#include <QrxRunLoop.h>

#include <uv.h>

int main()
{
    // The library's loop is that of the thread on which the devices are used: this one.
    uv_poll_t poll;
    uv_poll_init(uv_default_loop(), &poll, QrxRunLoop::getCurrent().getFileDescriptor());
    MouseWatch watch([&] { uv_poll_stop(&poll); }); // the loop ends when nothing is left to wait for
    uv_poll_start(&poll, UV_READABLE, [](uv_poll_t*, int, int) { QrxRunLoop::getCurrent().runOnce(0); });
    uv_run(uv_default_loop(), UV_RUN_DEFAULT);
    return watch.exitStatus();
}
