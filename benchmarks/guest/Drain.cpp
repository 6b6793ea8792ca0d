#include "Drain.h"

// Each round has a number of its own in its reports: one that was left over from an earlier round is noticed.
void Drain::begin(std::uint8_t round, std::size_t bytes)
{
    _round = round;
    _bytes = bytes;
    _next = 0;
    _isGood = true;
}
