// The library's devices in a Boost.Asio loop.
#include "MouseWatch.h"

#include <QrxRunLoop.h>

#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>

namespace asio = boost::asio;

void deliverFrom(asio::posix::stream_descriptor& descriptor)
{
    // A wait is for one time, so each one starts the next. The error is that of a descriptor that was released.
    descriptor.async_wait(asio::posix::stream_descriptor::wait_read, [&](const boost::system::error_code& error) {
        if (!error) {
            QrxRunLoop::getCurrent().runOnce(0);
            deliverFrom(descriptor);
        }
    });
}

int main()
{
    asio::io_context context;
    MouseWatch watch([&] { context.stop(); });
    asio::posix::stream_descriptor descriptor(context, QrxRunLoop::getCurrent().getFileDescriptor());
    deliverFrom(descriptor);
    context.run();
    descriptor.release(); // it belongs to the run loop
    return watch.exitStatus();
}
