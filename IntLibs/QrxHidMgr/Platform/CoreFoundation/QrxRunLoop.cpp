#include "QrxRunLoop.h"

#ifndef __APPLE__
#include "RunLoopDescriptor.h"
#endif

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace {

/// Counts as for ever to the run loop.
constexpr CFTimeInterval kForever = 1.0e10;

CFRunLoopRef loopOf(void* loop)
{
    return static_cast<CFRunLoopRef>(loop);
}

QrxRunLoop::Outcome outcomeOf(SInt32 result)
{
    switch (result) {
    case kCFRunLoopRunFinished:
        return QrxRunLoop::Outcome::finished;
    case kCFRunLoopRunStopped:
        return QrxRunLoop::Outcome::stopped;
    case kCFRunLoopRunHandledSource:
        return QrxRunLoop::Outcome::handled;
    default:
        return QrxRunLoop::Outcome::timedOut;
    }
}

} // namespace

QrxRunLoop QrxRunLoop::current()
{
    return QrxRunLoop(CFRunLoopGetCurrent());
}

QrxRunLoop::QrxRunLoop(void* loop) : _loop(loop)
{
    CFRetain(_loop);
}

QrxRunLoop::QrxRunLoop(const QrxRunLoop& other) : QrxRunLoop(other._loop) {}

QrxRunLoop& QrxRunLoop::operator=(const QrxRunLoop& other)
{
    CFRetain(other._loop);
    CFRelease(std::exchange(_loop, other._loop));
    return *this;
}

QrxRunLoop::~QrxRunLoop()
{
    CFRelease(_loop);
}

QrxRunLoop::Outcome QrxRunLoop::run()
{
    return runFor(kForever);
}

QrxRunLoop::Outcome QrxRunLoop::runFor(double seconds)
{
    return outcomeOf(CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, false));
}

QrxRunLoop::Outcome QrxRunLoop::runOnce(double seconds)
{
    return outcomeOf(CFRunLoopRunInMode(kCFRunLoopDefaultMode, seconds, true));
}

void QrxRunLoop::stop()
{
    CFRunLoopStop(loopOf(_loop));
}

void QrxRunLoop::wake()
{
    CFRunLoopWakeUp(loopOf(_loop));
}

int QrxRunLoop::fileDescriptor() const
{
#ifdef __APPLE__
    return -1;
#else
    return qrx::cf::runLoopDescriptor(loopOf(_loop));
#endif
}
