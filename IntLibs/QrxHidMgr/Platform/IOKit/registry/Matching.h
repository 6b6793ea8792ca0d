#pragma once

#include "CoreFoundation/CFRef.h"
#include "RegistryEntry.h"

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <utility>
#include <vector>

namespace qrx::iokit {

/// What a matching dictionary asks for, read once: later changes of the dictionary have no effect.
///
/// "IOProviderClass" accepts the class and those below it. Every other key must be a property of the entry with an
/// equal value; what an entry does not have never matches. An empty dictionary accepts everything.
class Matching {
public:
    explicit Matching(CFDictionaryRef dictionary);

    bool accepts(RegistryEntry& entry) const;

    /// False if only devices and interfaces can match, so that nothing below them needs to be made for the comparison.
    bool reachesHid() const;

private:
    struct Property {
        CFRef<CFTypeRef> key;
        CFRef<CFTypeRef> value;
    };

    /// Empty: any.
    std::string _className;
    /// "IOProviderClass" is not a text.
    bool _isImpossible = false;
    std::vector<Property> _properties;
};

} // namespace qrx::iokit
