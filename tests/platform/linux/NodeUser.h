#pragma once

#include "FaultSweep.h"
#include "Provider/Provider.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace qrx::platform::test {

/// Who has one HID interface open and writes down what comes of all that is done with it. The interface has unnumbered
/// reports of 8 bytes of each kind.
class NodeUser {
public:
    /// What was done, and what came of it.
    using Lines = std::vector<std::pair<std::string, std::string>>;

    explicit NodeUser(std::shared_ptr<HIDPort> port) : _port(std::move(port)) {}

    /// A second time if the first one fails.
    void open();
    /// Takes reports until there are none, or, if they end with the device, until it is gone.
    void take(const std::string& name, bool isLast = false);
    /// Sends one report of each kind and asks for one of each kind.
    void request(const std::function<void(ReportType)>& beforeAsking);
    void close() { _channel.reset(); }
    /// What the test adds: what the device saw.
    void note(const std::string& name, const std::string& text) { _lines.emplace_back(name, text); }

    const Lines& lines() const { return _lines; }

private:
    std::shared_ptr<HIDPort> _port;
    std::unique_ptr<HIDChannel> _channel;
    Lines _lines;
};

/// Fails the test if two users' lines are not those of the undisturbed story, but for what the fault may do: to one of
/// them, and there to one thing.
void judge(const NodeUser::Lines& undisturbed, const NodeUser& first, const NodeUser& second,
           const std::optional<Fault>& fault);

} // namespace qrx::platform::test
