#pragma once

#include "FakeValue.h"

#include <CoreFoundation/CoreFoundation.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace fake {

class FakeLog;

/// One property object (or run loop source), counted. An object that died stays as a corpse, so that a use of it is
/// told as what it is.
struct FakeObject {
    enum Kind : CFTypeID { kNumber = 1, kBoolean, kString, kArray, kDictionary, kSource, kLoop, kData };

    Kind kind = kNumber;
    std::string name;
    long count = 1;
    /// How many of the references are held by other objects.
    long inner = 0;
    bool isConstant = false;

    std::int64_t integer = 0;
    double real = 0;
    bool isReal = false;
    Text text;
    std::vector<std::uint8_t> data;
    std::vector<FakeObject*> items;
    std::map<std::string, FakeObject*> entries;
    std::function<void()> onDeath;
};

/// All property objects of one test.
class FakeObjects {
public:
    /// A new object with one reference, named in the log.
    FakeObject* make(FakeObject::Kind kind, std::string name);
    /// The object of a value with all that it holds; null for an empty place.
    FakeObject* make(const Value& value, const std::string& name);

    void retain(FakeObject* object);
    void release(FakeObject* object);
    void retainInside(FakeObject* object);
    void releaseInside(FakeObject* object);

    /// The names of the objects that somebody outside still owes a release, with the number of releases if it is not 1.
    std::vector<std::string> leaks() const;

private:
    void die(FakeObject* object);

    std::vector<std::unique_ptr<FakeObject>> _objects;
};

/// The object behind a reference. Null ends the process, as the platform does; a corpse is a failure of the test.
FakeObject* objectOf(CFTypeRef object, const char* function);
CFTypeRef referenceOf(const FakeObject* object);

} // namespace fake
