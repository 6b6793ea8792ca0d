#include "Drain.h"

void Drain::begin(std::uint8_t round)
{
    _round = round;
    _next = 0;
    _isGood = true;
}
