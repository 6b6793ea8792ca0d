#include "Drain.h"

void Drain::begin(std::uint8_t round, std::size_t bytes)
{
    _round = round;
    _bytes = bytes;
    _next = 0;
    _isGood = true;
}
