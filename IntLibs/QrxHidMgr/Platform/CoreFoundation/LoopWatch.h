#pragma once

#include <memory>

namespace qrx {

/// Calls a client in the runs of a loop for as long as a descriptor is readable. The loop has something to wait for
/// meanwhile. Used on the loop's thread. Exported for the library of virtual devices, which is made with this one.
class __attribute__((visibility("default"))) LoopWatch {
public:
    class Client {
    public:
        /// The descriptor is readable. Anything may happen in the call.
        virtual void readable() = 0;

    protected:
        ~Client() = default;
    };

    /// On the calling thread's loop, until this object ends. The client is held by a shared pointer, and a call in
    /// progress holds it. `descriptor` lives longer than this object.
    LoopWatch(int descriptor, std::weak_ptr<Client> client);
    LoopWatch(const LoopWatch&) = delete;
    LoopWatch& operator=(const LoopWatch&) = delete;
    ~LoopWatch();

private:
    struct Body;
    const std::unique_ptr<Body> _body;
};

} // namespace qrx
