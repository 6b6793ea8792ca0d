#pragma once

#include "Application.h"

#include <functional>

/// Something that an application goes through, from nothing to nothing. Judges for itself what has come of it.
using Life = std::function<void(Application&)>;

/// Lives once undisturbed, and then as often as that life allocates, each time with another allocation failing (or that
/// one and all that follow), in a process of its own, so that what a process does once is done in each. A second,
/// undisturbed life in the same process must be as every life is, and leave as much behind as two undisturbed ones.
/// Fails the test if a process ends otherwise than by itself, and if a failure was neither thrown nor told on standard
/// error. The environment variable QRX_ALLOCATION chooses one number alone. Under a sanitizer every third number is tried,
/// others for each famine.
void sweepAllocations(Famine famine, const Life& life);
