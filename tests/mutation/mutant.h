#pragma once

/// What the rewritten sources ask: whether the mutant of this number is the one that the environment names.
///   QRX_MUTANT=NUMBER            chooses one; without it the program is the original
///   QRX_MUTANTS_REACHED=FILE     a file of one byte for each number: those that were asked for become 1

#include <cstddef>
#include <cstdlib>
#include <type_traits>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrx_mutation {

struct Choice {
    long chosen = -1;
    char* reached = nullptr; ///< shared with the file, so that it is kept however the program ends
    std::size_t size = 0;
};

inline Choice makeChoice()
{
    Choice choice;
    if (const char* const number = std::getenv("QRX_MUTANT")) {
        choice.chosen = std::atol(number);
    }
    const char* const name = std::getenv("QRX_MUTANTS_REACHED");
    const int file = name != nullptr ? ::open(name, O_RDWR | O_CLOEXEC) : -1;
    struct stat status {};
    if (file >= 0 && ::fstat(file, &status) == 0) {
        const auto size = static_cast<std::size_t>(status.st_size);
        void* const place = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
        if (place != MAP_FAILED) {
            choice.reached = static_cast<char*>(place);
            choice.size = size;
        }
    }
    if (file >= 0) {
        ::close(file);
    }
    return choice;
}

inline const Choice& choice()
{
    static const Choice made = makeChoice();
    return made;
}

/// Made before main, when descriptors and memory are still to be had.
inline const bool isChosenEarly = (choice(), true);

inline bool isChosen(int number)
{
    const Choice& made = choice();
    if (made.reached != nullptr && static_cast<std::size_t>(number) < made.size) {
        made.reached[number] = 1;
    }
    return made.chosen == number;
}

} // namespace qrx_mutation

/// A constant expression is computed by the original.
constexpr bool qrxMutant(int number)
{
    return !std::is_constant_evaluated() && qrx_mutation::isChosen(number);
}
