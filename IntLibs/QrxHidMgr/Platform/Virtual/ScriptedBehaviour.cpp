// Each event of the device is held against all rules; what the fitting ones say is done in their order. The lock is
// held while rules are looked up and never while the device is called, so a rule may pull the plug from within a
// request, and a handler may send the next report.

#include "ScriptedBehaviour.h"

#include <algorithm>
#include <array>
#include <string>
#include <thread>
#include <utility>

namespace qrx::platform {

using script::Action;
using script::Event;
using script::Rule;
using script::Trigger;
using script::Verb;

namespace {

/// The kernel gives a request up after this time; a longer wait ends as it does.
constexpr std::chrono::microseconds kRequestLimit = std::chrono::seconds(5);

/// No value if the device has no HID interface.
std::optional<int> firstInterface(const DeviceFacts& facts)
{
    const auto first = std::ranges::find_if(
        facts.interfaces, [](const InterfaceFacts& interface) { return !interface.reportDescriptor.empty(); });
    return first == facts.interfaces.end() ? std::nullopt : std::optional<int>(first->number);
}

} // namespace

std::shared_ptr<ScriptedBehaviour> ScriptedBehaviour::start(const std::shared_ptr<VirtualUsbDevice>& device,
                                                            const script::Rules& rules)
{
    auto started = std::make_shared<ScriptedBehaviour>(device, rules);
    for (const Rule& rule : rules.rules) {
        // "0 times" switches a rule off, here as well as in `actionsAt`.
        if (rule.trigger.event != Event::time || rule.trigger.times == 0U) {
            continue;
        }
        started->later(rule.trigger.time, [weak = std::weak_ptr(started), actions = rule.actions](VirtualUsbDevice&) {
            // Not null: `later` calls this only while the script lives, and holds it for the call.
            const auto self = weak.lock();
            for (const Action& action : actions) {
                self->act(action, {Event::time, std::nullopt, {}});
            }
        });
    }
    return started;
}

ScriptedBehaviour::ScriptedBehaviour(const std::shared_ptr<VirtualUsbDevice>& device, const script::Rules& rules)
    : _device(device), _rules(rules.rules), _chance(rules.seed)
{
}

// --- rules -------------------------------------------------------------------------------------------------------

bool ScriptedBehaviour::hasChance(unsigned percent)
{
    // Not by a distribution of the standard library: those differ from one to another, and a seed should not.
    return _chance() % 100 < percent;
}

bool ScriptedBehaviour::fits(const Trigger& trigger, const Occasion& occasion)
{
    if (trigger.event != occasion.event ||
        (trigger.interfaceNumber && trigger.interfaceNumber != occasion.interfaceNumber)) {
        return false;
    }
    switch (trigger.event) {
    case Event::report:
        // Chance is asked at each report, so that what it says does not depend on other rules.
        // Reports are counted over all interfaces, in the order of their sending.
        return trigger.percent ? hasChance(*trigger.percent)
                               : (trigger.every != 0 ? _reports % trigger.every == 0 : _reports == trigger.number);
    case Event::sent:
        return trigger.type == occasion.type && trigger.pattern.matches(occasion.report);
    case Event::request:
        return trigger.type == occasion.type && trigger.reportID.value_or(occasion.reportID) == occasion.reportID;
    default:
        return true;
    }
}

// Called with the lock held.
std::vector<Action> ScriptedBehaviour::actionsAt(const Occasion& occasion)
{
    std::vector<Action> actions;
    for (Rule& rule : _rules) {
        if (!fits(rule.trigger, occasion) || rule.trigger.times == 0U) {
            continue;
        }
        // Counted when the rule fits, whether or not its actions change anything.
        if (rule.trigger.times) {
            --*rule.trigger.times;
        }
        actions.insert(actions.end(), rule.actions.begin(), rule.actions.end());
    }
    return actions;
}

// --- input -------------------------------------------------------------------------------------------------------

void ScriptedBehaviour::shape(Outgoing& outgoing, const Action& action)
{
    Bytes& bytes = outgoing.bytes;
    switch (action.verb) {
    case Verb::drop:
        outgoing.copies = 0;
        break;
    case Verb::repeat:
        // Two rules that fit the same report double it twice.
        outgoing.copies *= 2;
        break;
    case Verb::fill:
        // One more than a reader's queue holds.
        outgoing.copies = VirtualUsbDevice::kQueuedReports + 1;
        break;
    case Verb::swap:
        outgoing.isHeldBack = true;
        break;
    case Verb::delay:
        outgoing.delay += action.time;
        break;
    case Verb::number:
        if (!bytes.empty()) {
            bytes.front() = static_cast<std::uint8_t>(action.count);
        }
        break;
    case Verb::cut:
        bytes.resize(std::min(bytes.size(), action.count));
        break;
    case Verb::pad:
        bytes.resize(std::max(bytes.size(), action.count));
        break;
    default:
        break;
    }
    // Several rules that double would multiply a report without bound. More than a queue holds are lost anyway.
    outgoing.copies = std::min(outgoing.copies, VirtualUsbDevice::kQueuedReports + 1);
}

bool ScriptedBehaviour::sendOut(int interfaceNumber, const Outgoing& outgoing)
{
    const auto deliver = [interfaceNumber, bytes = outgoing.bytes, copies = outgoing.copies](VirtualUsbDevice& device) {
        bool isTaken = true;
        for (std::size_t copy = 0; copy < copies; ++copy) {
            isTaken = device.deliverInputReport(interfaceNumber, bytes) && isTaken;
        }
        return isTaken;
    };
    // Whether a delayed report finds room is known when the sender has long got its answer: it is told that it is
    // taken.
    if (outgoing.delay.count() > 0) {
        later(outgoing.delay, deliver);
        return true;
    }
    const auto device = _device.lock();
    return device && deliver(*device);
}

bool ScriptedBehaviour::sendInputReport(int interfaceNumber, std::span<const std::uint8_t> report)
{
    const Occasion occasion{Event::report, interfaceNumber, report};
    Outgoing outgoing{Bytes(report.begin(), report.end())};
    std::vector<Action> actions;
    std::vector<Bytes> heldBack;
    {
        const std::scoped_lock lock(_mutex);
        ++_reports;
        actions = actionsAt(occasion);
        for (const Action& action : actions) {
            shape(outgoing, action);
        }
        if (outgoing.isHeldBack) {
            _heldBack[interfaceNumber].insert(_heldBack[interfaceNumber].end(), outgoing.copies, outgoing.bytes);
        } else {
            // This report overtakes the ones that wait for it.
            heldBack = std::exchange(_heldBack[interfaceNumber], {});
        }
    }
    const bool isTaken = outgoing.isHeldBack || sendOut(interfaceNumber, outgoing);
    for (Bytes& bytes : heldBack) {
        sendOut(interfaceNumber, {std::move(bytes)});
    }
    // The plug is pulled after the report, so that "drop" is what loses it.
    for (const Action& action : actions) {
        act(action, occasion);
    }
    return isTaken;
}

// --- requests ----------------------------------------------------------------------------------------------------

/// The answer that an action gives, if it gives one. An action that waits is waited for here, on the caller's thread;
/// `waited` sums that up.
std::optional<Status> ScriptedBehaviour::decide(const Action& action, std::chrono::microseconds& waited)
{
    switch (action.verb) {
    case Verb::refuse:
        return Status::pipeStalled;
    case Verb::silence:
        return Status::timeout;
    case Verb::answer:
        return Status::success;
    case Verb::wait: {
        const auto wait = std::min(action.time, kRequestLimit - waited);
        std::this_thread::sleep_for(wait);
        waited += wait;
        // All waits of a request together are bounded, as the kernel bounds the request.
        return waited == kRequestLimit ? std::optional(Status::timeout) : std::nullopt;
    }
    default:
        return std::nullopt;
    }
}

std::optional<Status> ScriptedBehaviour::takeSentReport(const SentReport& report)
{
    const Occasion occasion{Event::sent, report.interfaceNumber, report.bytes, report.type, report.reportID};
    std::unique_lock lock(_mutex);
    const std::vector<Action> actions = actionsAt(occasion);
    lock.unlock();
    std::optional<Status> decision;
    std::chrono::microseconds waited{0};
    for (const Action& action : actions) {
        const auto decided = decide(action, waited);
        // The first answer counts; what else the rules want happens all the same.
        decision = decision ? decision : decided;
        act(action, occasion);
    }
    return decision;
}

std::optional<Status> ScriptedBehaviour::answerRequest(int interfaceNumber, ReportType type, std::uint32_t reportID,
                                                       Bytes& answer)
{
    const Occasion occasion{Event::request, interfaceNumber, {}, type, reportID};
    std::unique_lock lock(_mutex);
    const std::vector<Action> actions = actionsAt(occasion);
    lock.unlock();
    std::optional<Status> decision;
    std::chrono::microseconds waited{0};
    for (const Action& action : actions) {
        const auto decided = decide(action, waited);
        if (!decision && action.verb == Verb::answer) {
            // An answer after a refusal does not count, and of two answers the first one does.
            answer = action.bytes.filled({});
        }
        decision = decision ? decision : decided;
        act(action, occasion);
    }
    return decision;
}

Status ScriptedBehaviour::open(int interfaceNumber)
{
    const Occasion occasion{Event::open, interfaceNumber, {}};
    std::unique_lock lock(_mutex);
    const std::vector<Action> actions = actionsAt(occasion);
    lock.unlock();
    Status status = Status::success;
    for (const Action& action : actions) {
        // As for a report node that this user may not open.
        status = action.verb == Verb::refuse ? Status::notPrivileged : status;
        act(action, occasion);
    }
    return status;
}

// --- the device --------------------------------------------------------------------------------------------------

/// Keeps what changes the next arrival; other actions change nothing here. Called with the lock held.
void ScriptedBehaviour::note(const Action& action)
{
    if (action.verb == Verb::garble) {
        _hasHostileStrings = true;
    } else if (action.verb == Verb::descriptor) {
        _descriptors[action.interfaceNumber] = action.bytes.filled({});
    }
}

void ScriptedBehaviour::changeFacts(DeviceFacts& facts)
{
    const std::scoped_lock lock(_mutex);
    const std::optional<int> first = firstInterface(facts);
    for (const Action& action : actionsAt({Event::plugged, std::nullopt, {}})) {
        note(action);
        const std::optional<int> interfaceNumber = action.interfaceNumber ? action.interfaceNumber : first;
        if (action.verb == Verb::send && interfaceNumber) {
            later(action.time, [number = *interfaceNumber, bytes = action.bytes.filled({})](VirtualUsbDevice& device) {
                device.deliverInputReport(number, bytes);
            });
        }
    }
    if (_hasHostileStrings) {
        facts.vendorName = hostileText();
        facts.productName = hostileText();
        facts.serialNumber = hostileText();
    }
    for (InterfaceFacts& interface : facts.interfaces) {
        // A rule without a number means the first HID interface. It was looked up before any descriptor is replaced,
        // since an empty one would make the interface one that is not HID.
        const std::optional<int> name = interface.number == first && _descriptors.contains(std::nullopt)
                                            ? std::nullopt
                                            : std::optional<int>(interface.number);
        if (const auto other = _descriptors.find(name); other != _descriptors.end()) {
            interface.reportDescriptor = other->second;
        }
    }
}

void ScriptedBehaviour::act(const Action& action, const Occasion& occasion)
{
    const auto device = _device.lock();
    if (!device) {
        return;
    }
    switch (action.verb) {
    case Verb::send: {
        auto number = action.interfaceNumber ? action.interfaceNumber : occasion.interfaceNumber;
        number = number ? number : firstInterface(device->facts());
        if (number) {
            sendOut(*number, {action.bytes.filled(occasion.report), 1, false, action.time});
        }
        break;
    }
    case Verb::unplug:
        // Actions that follow find the device unplugged: what they send is lost.
        device->unplug();
        break;
    case Verb::plug:
        if (action.time.count() > 0) {
            later(action.time, [](VirtualUsbDevice& plugged) { plugged.plug(); });
        } else {
            device->plug();
        }
        break;
    default: {
        const std::scoped_lock lock(_mutex);
        note(action);
    }
    }
}

/// Texts that have hurt somebody: line ends, a terminal's commands, turned directions, what looks like a rule, and what
/// is no text.
std::string ScriptedBehaviour::hostileText()
{
    static constexpr std::array<const char*, 9> kPieces{"\n",
                                                        "\r\nE: 000000.000000 1 ff\n",
                                                        "\x1b[2J\x1b]0;title\x07",
                                                        "\u202e",
                                                        "\xff\xfe",
                                                        "%s%n",
                                                        "\", RUN+=\"/bin/false",
                                                        "<script>",
                                                        "name"};
    std::string text;
    for (std::uint64_t pieces = _chance() % 6 + 1; pieces > 0; --pieces) {
        text += kPieces[_chance() % kPieces.size()];
    }
    return text;
}

void ScriptedBehaviour::later(std::chrono::microseconds time, std::function<void(VirtualUsbDevice&)> function)
{
    // What waits keeps neither the script nor the device alive.
    _calls->callAfter(time, [weak = weak_from_this(), function = std::move(function)] {
        const auto alive = weak.lock();
        if (const auto device = alive ? alive->_device.lock() : nullptr) {
            function(*device);
        }
    });
}

} // namespace qrx::platform
