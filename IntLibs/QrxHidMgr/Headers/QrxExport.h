/// @file
/// Marks what the library lets programs link to. Everything else in it has hidden symbols, so that a program which also
/// links another implementation of the platform's names is not disturbed.

#ifndef QRX_EXPORT_H
#define QRX_EXPORT_H

/// Before a class, function or variable: visible outside the shared library, type information and table of virtual
/// operations included, so that applications can derive from the class and test for it at run time.
#if defined(__GNUC__)
#define QRX_EXPORT __attribute__((visibility("default")))
#else
#define QRX_EXPORT
#endif

#endif
