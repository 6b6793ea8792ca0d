// The library's devices in a GLib main loop (GTK, GNOME).
#include "MouseWatch.h"

#include <QrxRunLoop.h>

#include <glib-unix.h>

int main()
{
    GMainLoop* mainLoop = g_main_loop_new(nullptr, FALSE);
    MouseWatch watch([&] { g_main_loop_quit(mainLoop); });
    const auto deliver = [](gint, GIOCondition, gpointer) -> gboolean {
        // One turn without waiting. What is left keeps the descriptor readable, so GLib calls again after its other
        // sources.
        QrxRunLoop::getCurrent().runOnce(0);
        return G_SOURCE_CONTINUE;
    };
    g_unix_fd_add(QrxRunLoop::getCurrent().getFileDescriptor(), G_IO_IN, deliver, nullptr);
    g_main_loop_run(mainLoop);
    g_main_loop_unref(mainLoop);
    return watch.exitStatus();
}
