#pragma once

#include "QrxRecording.h"

/// Writes the recording and reads it again: it must be the same, event by event written ones as well.
void requireRoundTrip(const QrxRecording& recording);
