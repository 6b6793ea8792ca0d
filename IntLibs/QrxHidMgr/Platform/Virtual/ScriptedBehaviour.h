#pragma once

#include "DelayedCalls.h"
#include "ScriptRules.h"
#include "VirtualUsbDevice.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>

namespace qrx::platform {

/// What the rules of a script make of a device. The device owns it. What is to happen later does not happen once it has
/// ended.
class ScriptedBehaviour final : public DeviceBehaviour, public std::enable_shared_from_this<ScriptedBehaviour> {
public:
    static std::shared_ptr<ScriptedBehaviour> start(const std::shared_ptr<VirtualUsbDevice>& device,
                                                    const script::Rules& rules);
    ScriptedBehaviour(const std::shared_ptr<VirtualUsbDevice>& device, const script::Rules& rules);

    void changeFacts(DeviceFacts& facts) override;
    Status open(int interfaceNumber) override;
    bool sendInputReport(int interfaceNumber, std::span<const std::uint8_t> report) override;
    std::optional<Status> takeSentReport(const SentReport& report) override;
    std::optional<Status> answerRequest(int interfaceNumber, ReportType type, std::uint32_t reportID,
                                        std::vector<std::uint8_t>& answer) override;

private:
    using Bytes = std::vector<std::uint8_t>;
    /// What a rule is about: an event of the device.
    struct Occasion {
        script::Event event;
        std::optional<int> interfaceNumber;
        std::span<const std::uint8_t> report;
        ReportType type = ReportType::input;
        std::uint32_t reportID = 0;
    };
    /// An input report on its way out.
    struct Outgoing {
        Bytes bytes;
        std::size_t copies = 1;
        bool isHeldBack = false;
        std::chrono::microseconds delay{0};
    };

    std::vector<script::Action> actionsAt(const Occasion& occasion);
    bool fits(const script::Trigger& trigger, const Occasion& occasion);
    bool hasChance(unsigned percent);
    static void shape(Outgoing& outgoing, const script::Action& action);
    bool sendOut(int interfaceNumber, const Outgoing& outgoing);
    std::optional<Status> decide(const script::Action& action, std::chrono::microseconds& waited);
    void act(const script::Action& action, const Occasion& occasion);
    void note(const script::Action& action);
    void later(std::chrono::microseconds time, std::function<void(VirtualUsbDevice&)> function);
    std::string hostileText();

    const std::weak_ptr<VirtualUsbDevice> _device;
    const std::shared_ptr<DelayedCalls> _calls = makeDelayedCalls();

    std::mutex _mutex;
    /// How often a rule may still act is counted in its trigger.
    std::vector<script::Rule> _rules;
    std::mt19937_64 _chance;
    std::uint64_t _reports = 0;
    bool _hasHostileStrings = false;
    /// By interface; no number: the first one's.
    std::map<std::optional<int>, Bytes> _descriptors;
    /// Reports that wait for the next one of their interface.
    std::map<int, std::vector<Bytes>> _heldBack;
};

} // namespace qrx::platform
