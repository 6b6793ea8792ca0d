#pragma once

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

/// How a child process leaves when it has done its part.
enum class ChildEnd {
    exit, ///< as at the end of main: objects of static and of the thread's life end
    quit  ///< at once
};

/// Does something in a child that fork makes, and waits for its end: its exit status (0 if `action` returned, 70 if it
/// threw), or minus the number of the signal that ended it. A child that hangs is ended after some seconds.
inline int runInChild(const std::function<void()>& action, ChildEnd end = ChildEnd::quit)
{
    constexpr unsigned kMostSeconds = 20;
    constexpr int kThrew = 70;
    // What is still to be written would be written twice.
    std::fflush(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        throw std::runtime_error("fork");
    }
    if (child == 0) {
        ::alarm(kMostSeconds);
        int status = kThrew;
        try {
            action();
            status = 0;
        } catch (const std::exception&) {
        }
        if (end == ChildEnd::exit) {
            std::exit(status);
        }
        ::_exit(status);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}
