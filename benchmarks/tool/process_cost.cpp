// What a whole process takes, from its start to its end: process_cost NAME TIMES PROGRAM [WORD...]
// Prints "figure process NAME NANOSECONDS LINES" for each time; LINES is how many lines it wrote. In a guest whose
// clock counts instructions the nanoseconds are instructions, the kernel's and those of the dynamic linker included.

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void fail(const char* what)
{
    std::perror(what);
    std::exit(EXIT_FAILURE);
}

/// Runs the program with its standard output in the file. Nanoseconds.
long long runOnce(char** words, std::FILE* output)
{
    const auto begin = std::chrono::steady_clock::now();
    const pid_t child = fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        dup2(fileno(output), STDOUT_FILENO);
        execv(words[0], words);
        // Not exit, which would write the parent's buffered output a second time.
        _exit(127);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0) {
        errno = ECHILD;
        fail(words[0]);
    }
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now() - begin).count();
}

std::size_t linesOf(std::FILE* file)
{
    std::rewind(file);
    std::size_t lines = 0;
    for (int character = std::fgetc(file); character != EOF; character = std::fgetc(file)) {
        lines += character == '\n' ? 1 : 0;
    }
    return lines;
}

} // namespace

int main(int argc, char** argv)
{
    constexpr int kFirstWord = 3;
    if (argc <= kFirstWord) {
        std::fprintf(stderr, "usage: process_cost NAME TIMES PROGRAM [WORD...]\n");
        return EXIT_FAILURE;
    }
    for (int times = std::atoi(argv[2]); times > 0; --times) {
        std::FILE* output = std::tmpfile();
        if (output == nullptr) {
            fail("temporary file");
        }
        const long long nanoseconds = runOnce(argv + kFirstWord, output);
        std::printf("figure process %s %lld %zu\n", argv[1], nanoseconds, linesOf(output));
        std::fclose(output);
    }
}
