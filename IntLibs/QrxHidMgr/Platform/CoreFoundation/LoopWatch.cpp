#include "LoopWatch.h"

#include "ClientSource.h"

#include <CoreFoundation/CoreFoundation.h>

#include <utility>

namespace qrx {

struct __attribute__((visibility("hidden"))) LoopWatch::Body {
    cf::ClientSource<Client, &Client::readable> source;
};

LoopWatch::LoopWatch(int descriptor, std::weak_ptr<Client> client) : _body(new Body{{descriptor, std::move(client)}})
{
    CFRunLoopAddSource(CFRunLoopGetCurrent(), _body->source.get(), kCFRunLoopDefaultMode);
}

LoopWatch::~LoopWatch() = default;

} // namespace qrx
