/// @file
/// The version of the library.
///
/// `QRX_VERSION_MAJOR`, `QRX_VERSION_MINOR` and `QRX_VERSION_PATCH` are those of these headers. While the major version
/// is 0, a program runs with a library of the same minor version and an equal or higher patch version; another minor
/// version may need it built anew. The guide ("Versions") says what a minor version may change from 1.0 on.

#ifndef QRX_VERSION_H
#define QRX_VERSION_H

#include "QrxExport.h"

#define QRX_VERSION_MAJOR 0
#define QRX_VERSION_MINOR 2
#define QRX_VERSION_PATCH 0

/// A number that grows: 10203 for 1.2.3. `#if QRX_VERSION >= 200`
#define QRX_VERSION (QRX_VERSION_MAJOR * 10000 + QRX_VERSION_MINOR * 100 + QRX_VERSION_PATCH)

/// The same of the library that the program runs with.
QRX_EXPORT unsigned int QrxGetVersion();

#endif
