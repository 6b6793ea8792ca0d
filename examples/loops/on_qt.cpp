// The library's devices in a Qt event loop.
#include "MouseWatch.h"

#include <QrxRunLoop.h>

#include <QCoreApplication>
#include <QSocketNotifier>

int main(int argc, char** argv)
{
    QCoreApplication application(argc, argv);
    MouseWatch watch([&] { application.quit(); });
    // The descriptor is the loop's own: watched, but neither read nor closed by others.
    QSocketNotifier notifier(QrxRunLoop::getCurrent().getFileDescriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, [] { QrxRunLoop::getCurrent().runOnce(0); });
    application.exec();
    return watch.exitStatus();
}
