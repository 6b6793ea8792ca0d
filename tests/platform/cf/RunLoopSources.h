#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <functional>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

/// A pipe that never blocks.
class Pipe {
public:
    Pipe() { _opened = ::pipe2(_ends, O_CLOEXEC | O_NONBLOCK) == 0; }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;
    ~Pipe()
    {
        ::close(_ends[0]);
        closeWriter();
    }

    int reader() const { return _ends[0]; }
    bool put(char byte) const { return ::write(_ends[1], &byte, 1) == 1; }
    /// 0 if there is nothing.
    char take() const
    {
        char byte = 0;
        return ::read(_ends[0], &byte, 1) == 1 ? byte : '\0';
    }
    void closeWriter()
    {
        if (_ends[1] >= 0) {
            ::close(_ends[1]);
            _ends[1] = -1;
        }
    }

private:
    int _ends[2] = {-1, -1};
    bool _opened = false;
};

/// A source whose callback is a function; it belongs to the case, which must outlive its use in loops.
class TestSource {
public:
    TestSource(const TestSource&) = delete;
    TestSource& operator=(const TestSource&) = delete;
    ~TestSource()
    {
        CFRunLoopSourceInvalidate(_source);
        CFRelease(_source);
    }

    CFRunLoopSourceRef get() const { return _source; }
    void add(CFStringRef mode = kCFRunLoopDefaultMode) { CFRunLoopAddSource(CFRunLoopGetCurrent(), _source, mode); }
    void remove(CFStringRef mode = kCFRunLoopDefaultMode)
    {
        CFRunLoopRemoveSource(CFRunLoopGetCurrent(), _source, mode);
    }
    bool isIn(CFStringRef mode = kCFRunLoopDefaultMode) const
    {
        return CFRunLoopContainsSource(CFRunLoopGetCurrent(), _source, mode) != 0;
    }
    void signal() { CFRunLoopSourceSignal(_source); }
    void invalidate() { CFRunLoopSourceInvalidate(_source); }
    CFIndex references() const { return CFGetRetainCount(_source); }

    std::function<void()> onPerform;
    std::function<void(const std::string& what, CFRunLoopRef loop, CFStringRef mode)> onChange = [](auto&&...) {};

protected:
    TestSource() = default;

    static TestSource& self(void* info) { return *static_cast<TestSource*>(info); }

    CFRunLoopSourceRef _source = nullptr;
};

/// Version 0: fired by signal().
class SignalSource : public TestSource {
public:
    explicit SignalSource(std::function<void()> perform, CFIndex order = 0)
    {
        onPerform = std::move(perform);
        CFRunLoopSourceContext context{};
        context.info = this;
        context.schedule = [](void* info, CFRunLoopRef loop, CFStringRef mode) {
            self(info).onChange("schedule", loop, mode);
        };
        context.cancel = [](void* info, CFRunLoopRef loop, CFStringRef mode) {
            self(info).onChange("cancel", loop, mode);
        };
        context.perform = [](void* info) { self(info).onPerform(); };
        _source = CFRunLoopSourceCreate(nullptr, order, &context);
    }
};

/// Version 1: fired while a descriptor is readable.
class DescriptorSource : public TestSource {
public:
    DescriptorSource(int descriptor, std::function<void()> perform) : _descriptor(descriptor)
    {
        onPerform = std::move(perform);
        CFRunLoopSourceContext1 context{};
        context.version = 1;
        context.info = this;
        context.getPort = [](void* info) {
            return static_cast<unsigned int>(static_cast<DescriptorSource*>(info)->_descriptor);
        };
        context.perform = [](void*, CFIndex, CFAllocatorRef, void* info) -> void* {
            self(info).onPerform();
            return nullptr;
        };
        _source = CFRunLoopSourceCreate(nullptr, 0, reinterpret_cast<CFRunLoopSourceContext*>(&context));
    }

private:
    const int _descriptor;
};

/// One pass of the loop.
inline SInt32 pass(bool returnAfterSourceHandled = false, CFStringRef mode = kCFRunLoopDefaultMode)
{
    return CFRunLoopRunInMode(mode, 0, returnAfterSourceHandled);
}

/// As many passes as do something, at most `limit`.
inline int passesWithWork(int limit = 100)
{
    int count = 0;
    while (count < limit && pass(true) == kCFRunLoopRunHandledSource) {
        ++count;
    }
    return count;
}

inline bool isReadable(int descriptor)
{
    pollfd watched{descriptor, POLLIN, 0};
    return ::poll(&watched, 1, 0) == 1;
}

/// What no case is to wait for in vain.
constexpr CFTimeInterval kDeadlineSeconds = 20;
