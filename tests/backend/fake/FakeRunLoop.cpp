#include "FakeRunLoop.h"

#include "FakePlatform.h"

namespace fake {

FakeObject* FakeRunLoop::makeSource(std::string name, std::function<bool()> perform)
{
    FakeObject* source = platform().objects.make(FakeObject::kSource, std::move(name));
    _performs[source] = std::move(perform);
    _order.push_back(source);
    return source;
}

void FakeRunLoop::run()
{
    for (bool served = true; served;) {
        served = false;
        const std::vector<FakeObject*> order = _order;
        for (FakeObject* source : order) {
            if (contains(source) && _performs[source]()) {
                served = true;
            }
        }
    }
}

std::vector<std::string> FakeRunLoop::sourceNames() const
{
    std::vector<std::string> names;
    for (const FakeObject* source : _order) {
        if (contains(source)) {
            names.push_back(source->name);
        }
    }
    return names;
}

void FakeRunLoop::add(FakeObject* source)
{
    if (_invalid.count(source) == 0 && _sources.insert(source).second) {
        platform().objects.retainInside(source);
    }
}

void FakeRunLoop::remove(FakeObject* source)
{
    if (_sources.erase(source) != 0) {
        platform().objects.releaseInside(source);
    }
}

void FakeRunLoop::invalidate(FakeObject* source)
{
    _invalid.insert(source);
    remove(source);
}

} // namespace fake

using namespace fake;

namespace {

FakeObject* loopObject()
{
    static FakeObject loop = [] {
        FakeObject object;
        object.kind = FakeObject::kLoop;
        object.name = "loop";
        object.isConstant = true;
        return object;
    }();
    return &loop;
}

FakeObject* logged(const char* function, CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode)
{
    FakeObject* known = objectOf(source, function);
    platform().log.call(std::string(function) + "(" + objectOf(loop, function)->name + ", " + known->name + ", " +
                        objectOf(mode, function)->name + ")");
    return known;
}

} // namespace

CFRunLoopRef CFRunLoopGetCurrent(void)
{
    platform().log.call("CFRunLoopGetCurrent");
    return reinterpret_cast<CFRunLoopRef>(loopObject());
}

void CFRunLoopAddSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode)
{
    platform().runLoop.add(logged("CFRunLoopAddSource", loop, source, mode));
}

void CFRunLoopRemoveSource(CFRunLoopRef loop, CFRunLoopSourceRef source, CFStringRef mode)
{
    platform().runLoop.remove(logged("CFRunLoopRemoveSource", loop, source, mode));
}

void CFRunLoopSourceInvalidate(CFRunLoopSourceRef source)
{
    FakeObject* known = objectOf(source, "CFRunLoopSourceInvalidate");
    platform().log.call("CFRunLoopSourceInvalidate(" + known->name + ")");
    platform().runLoop.invalidate(known);
}
