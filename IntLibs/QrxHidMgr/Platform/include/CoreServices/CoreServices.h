#pragma once

/// The system's version, as the platform's services tell it.

#include <CoreFoundation/CoreFoundation.h>

extern "C" {

enum : OSErr { noErr = 0, gestaltUnknownErr = -5550, gestaltUndefSelectorErr = -5551 };
enum : OSType { gestaltSystemVersion = 0x73797376 };

/// gestaltSystemVersion: four packed decimal digits (0x1068 is 10.6.8). Outside the Mac there is no such version:
/// gestaltUndefSelectorErr, and *response is left alone.
OSErr Gestalt(OSType selector, SInt32* response);
}
