// The library's devices in a loop of plain poll().
#include "MouseWatch.h"

#include <QrxRunLoop.h>

#include <poll.h>

int main()
{
    bool done = false;
    MouseWatch watch([&] { done = true; });
    // The loop of the thread on which the tree observes.
    QrxRunLoop loop = QrxRunLoop::getCurrent();
    while (!done) {
        pollfd entries[] = {{loop.getFileDescriptor(), POLLIN, 0}}; // beside the application's own
        ::poll(entries, 1, -1);
        if (entries[0].revents != 0) {
            loop.runOnce(0);
        }
    }
    return watch.exitStatus();
}
