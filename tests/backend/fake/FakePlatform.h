#pragma once

#include "FakeHID.h"
#include "FakeLog.h"
#include "FakeObjects.h"
#include "FakeRegistry.h"
#include "FakeRunLoop.h"

namespace fake {

/// The platform below the backend, scripted: a registry of entries made by the test, HID drivers that deliver what the
/// test says, a run loop that runs when the test says. Every call is logged, every reference counted.
///
/// One platform at a time; it lives as long as the test that made it, and outlives all objects of the backend.
class FakePlatform {
public:
    FakePlatform();
    FakePlatform(const FakePlatform&) = delete;
    FakePlatform& operator=(const FakePlatform&) = delete;
    ~FakePlatform();

    FakeLog log;
    FakeObjects objects;
    FakeRunLoop runLoop;
    FakeRegistry registry;
    FakeHID hid;

    /// What Gestalt answers; 0: it fails and writes nothing.
    int systemVersion = 0;

    /// Everything that is still owed: property objects, registry references, plug-in objects. Sorted.
    std::vector<std::string> leaks() const;
};

FakePlatform& platform();

} // namespace fake
