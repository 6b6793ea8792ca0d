// Runs a program on a machine with a number of HID interfaces: with_panels NODES PROGRAM [ARGUMENT...]
// Ends with the program's status. The devices are served by this process, so nothing of them is in what is measured or
// traced of the program.

#include "Panels.h"

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int argc, char** argv)
{
    if (argc < 3) {
        std::fprintf(stderr, "usage: with_panels NODES PROGRAM [ARGUMENT...]\n");
        return 64;
    }
    try {
        const qrx::guest::Panels panels(std::strtoul(argv[1], nullptr, 10));
        pid_t child = 0;
        int status = 0;
        if (::posix_spawnp(&child, argv[2], nullptr, nullptr, argv + 2, environ) != 0 ||
            ::waitpid(child, &status, 0) != child) {
            std::fprintf(stderr, "with_panels: %s cannot be run\n", argv[2]);
            return 1;
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
    } catch (const std::exception& reason) {
        std::fprintf(stderr, "with_panels: %s\n", reason.what());
        return 1;
    }
}
