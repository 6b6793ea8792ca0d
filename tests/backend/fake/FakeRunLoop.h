#pragma once

#include "FakeObjects.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace fake {

/// The one run loop, run by the test.
class FakeRunLoop {
public:
    /// A source with one reference. `perform` delivers one thing that waits and tells whether there was one.
    FakeObject* makeSource(std::string name, std::function<bool()> perform);

    /// Serves every source until nothing waits any more. An exception of a callback leaves through here.
    void run();
    bool contains(const FakeObject* source) const { return _sources.count(source) != 0; }
    std::vector<std::string> sourceNames() const;

    void add(FakeObject* source);
    void remove(FakeObject* source);
    void invalidate(FakeObject* source);

private:
    std::map<FakeObject*, std::function<bool()>> _performs;
    std::vector<FakeObject*> _order;
    std::set<const FakeObject*> _sources;
    std::set<const FakeObject*> _invalid;
};

} // namespace fake
