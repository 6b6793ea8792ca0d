#include "doctor/Checkup.h"

#include "doctor/Authorization.h"
#include "doctor/NodeAbsence.h"
#include "doctor/NodeAccess.h"
#include "doctor/RuleSearch.h"
#include "doctor/UdevDatabase.h"
#include "doctor/UdevRule.h"

#include "Linux/sysfs/DeviceScan.h"
#include "Linux/sysfs/NodeReadiness.h"
#include "Linux/sysfs/UsbNames.h"

#include <algorithm>
#include <optional>

namespace qrxhid {

namespace {

using qrx::platform::DeviceScan;
using qrx::platform::InterfaceOutline;
using qrx::platform::SystemCalls;
using State = InterfaceFinding::State;
using Fault = FoundRule::Fault;

const char* faultText(Fault fault)
{
    switch (fault) {
    case Fault::tooLate:
        return "comes too late: udev acts on the tag at 73, so the file's name must sort before";
    case Fault::capitals:
        return "writes the IDs in capitals: udev compares with lower case";
    case Fault::attrOfNode:
        return "asks the node itself for the IDs (ATTR), which only the USB device above it has (ATTRS)";
    case Fault::notForNodes:
        return "is for the USB device (SUBSYSTEM==\"usb\"), not for its report nodes (KERNEL==\"hidraw*\")";
    // A rule without a fault is spoken of as well: that it has no effect is then the finding.
    case Fault::none:
        break;
    }
    return "is right";
}

/// What keeps a right rule from helping.
const char* effectText(UdevDatabase::Tag tag)
{
    switch (tag) {
    case UdevDatabase::Tag::given:
        return ", and udevd has tagged the node: it is for who sits at the machine, and you do not (the tag works at a "
               "local seat, not over ssh)";
    case UdevDatabase::Tag::notGiven:
        return ", and udevd has not applied it to this node yet";
    case UdevDatabase::Tag::unknown:
        break;
    }
    return ", and udevd has not applied it to this node, or you do not sit at the machine (the tag works at a local "
           "seat, not over ssh)";
}

/// One examination of one machine.
class Examiner {
public:
    Examiner(const CheckupPlace& place, const Surroundings& surroundings)
        : _place(place), _surroundings(surroundings),
          // An age of 0: every node counts as finished, as nobody is here to wait for udevd's rules.
          _nodes(SystemCalls::kernel(), place.root + "/dev", place.root + "/run/udev", std::chrono::milliseconds(0)),
          _scan(SystemCalls::kernel(), place.root + "/sys", place.root + "/dev", _nodes)
    {
    }

    std::vector<DeviceFinding> examine(const DeviceFilter& filter);

private:
    DeviceFinding examineDevice(const qrx::platform::ScannedDevice& scanned);
    InterfaceFinding examineInterface(const DeviceFinding& device, const InterfaceOutline& outline);
    void explainNode(InterfaceFinding& finding, const DeviceFinding& device);
    void explainRules(InterfaceFinding& finding, const DeviceFinding& device);
    void adviseRule(InterfaceFinding& finding, const DeviceFinding& device) const;

    const CheckupPlace& _place;
    const Surroundings& _surroundings;
    qrx::platform::NodeReadiness _nodes;
    DeviceScan _scan;
};

// The same scan as the library's: what it does not list an application does not see either. Nothing is waited for, so a
// device that is still arriving is told as it stands.
std::vector<DeviceFinding> Examiner::examine(const DeviceFilter& filter)
{
    std::vector<qrx::platform::ListedDevice> listed;
    _scan.list(listed);
    std::vector<DeviceFinding> findings;
    for (const auto& one : listed) {
        qrx::platform::ScannedDevice scanned;
        const DeviceScan::Result result = _scan.read(one, scanned);
        const bool isRead = result == DeviceScan::Result::complete || result == DeviceScan::Result::incomplete;
        // A device that is kept out shows no interfaces, so the library reads nothing of it.
        std::optional<DeviceFinding> finding = isRead                   ? examineDevice(scanned)
                                               : one.interfaces.empty() ? findKeptOut(_place.root, one.name)
                                                                        : std::nullopt;
        // All devices are read before any is left out: a filter may name the number that `list` gives.
        if (finding && filter.matches(finding->facts())) {
            std::erase_if(finding->interfaces, [&filter](const InterfaceFinding& interface) {
                return !filter.hasInterface(interface.number);
            });
            findings.push_back(std::move(*finding));
        }
    }
    return findings;
}

// Interfaces of other classes are not HID, and whoever may not use a printer's knows better tools.
DeviceFinding Examiner::examineDevice(const qrx::platform::ScannedDevice& scanned)
{
    DeviceFinding device;
    device.ids = {scanned.facts.vendorID, scanned.facts.productID};
    device.productName = scanned.facts.productName.value_or("");
    device.serialNumber = scanned.facts.serialNumber.value_or("");
    device.place = scanned.facts.place;
    for (const InterfaceOutline& outline : scanned.outline) {
        if (outline.isOfHID) {
            device.interfaces.push_back(examineInterface(device, outline));
        }
    }
    if (device.interfaces.empty()) {
        device.reasons = {"none of its interfaces is there yet"};
    }
    return device;
}

InterfaceFinding Examiner::examineInterface(const DeviceFinding& device, const InterfaceOutline& outline)
{
    InterfaceFinding finding;
    // The scan has parsed this name already, so it holds a number.
    finding.number = qrx::platform::usbInterfaceName(outline.name)->number;
    if (outline.node.empty()) {
        explainAbsence(finding, _place.root, device.place, outline);
    } else {
        finding.node = "/dev/" + outline.node;
        explainNode(finding, device);
    }
    return finding;
}

// The node is not opened for it: an open node makes the kernel power the device up and poll it.
void Examiner::explainNode(InterfaceFinding& finding, const DeviceFinding& device)
{
    const NodeAccess access = NodeAccess::examine(_place.root + finding.node, _place.user);
    switch (access.kind) {
    case NodeAccess::Kind::readWrite:
        return;
    case NodeAccess::Kind::missing:
        explainMissing(finding, _place.root, _surroundings.enclosure);
        return;
    case NodeAccess::Kind::readOnly:
        finding.state = State::readOnly;
        finding.reasons = {"input can be read and nothing can be sent: " + access.explanation};
        break;
    case NodeAccess::Kind::denied:
        finding.state = State::denied;
        finding.reasons = {"the node may not be opened: " + access.explanation};
        break;
    }
    explainRules(finding, device);
}

/// Why no rule has given access.
void Examiner::explainRules(InterfaceFinding& finding, const DeviceFinding& device)
{
    // Without udevd no file of rules has any effect, right or wrong, so none is looked at.
    if (!_surroundings.hasUdevd) {
        finding.reasons.emplace_back("udevd does not run here (there is no /run/udev/control): no rule is applied");
        finding.nextSteps = {_surroundings.enclosure.empty()
                                 ? "sudo chown " + std::to_string(_place.user.value_or(User::current()).id) + " " +
                                       finding.node
                                 : "give access to " + finding.node + " from outside of " + _surroundings.enclosure};
        return;
    }
    const UdevDatabase::Tag tag = UdevDatabase(_place.root).tagOf(finding.node);
    bool hasRightRule = false;
    bool hasRule = false;
    for (const FoundRule& rule : findRules(_place.root, device.ids)) {
        // A rule for another interface of the device is no fault of this one's.
        if (!rule.interfaceNumber || *rule.interfaceNumber == finding.number) {
            const bool isRight = rule.fault == Fault::none;
            finding.reasons.push_back("the rule " + rule.place() + " " + faultText(rule.fault) +
                                      (isRight ? effectText(tag) : ""));
            hasRightRule = hasRightRule || isRight;
            hasRule = true;
        }
    }
    if (!hasRule) {
        finding.reasons.push_back("no udev rule names " + device.ids.text());
    }
    // A right rule that was not applied needs udevd to look again; a second rule would not help.
    if (!hasRightRule) {
        adviseRule(finding, device);
    } else if (tag == UdevDatabase::Tag::given) {
        finding.nextSteps = {
            "log in at the machine itself (loginctl shows who sits there), or name a group of yours in "
            "the rule: GROUP=\"plugdev\", MODE=\"0660\""};
        return;
    }
    finding.nextSteps.insert(finding.nextSteps.end(), {kReloadRules, kTriggerRules});
}

// The whole device and not the one interface: who lacks access to one of its interfaces usually lacks it to all, and
// several rules for one device would have to be kept in step.
void Examiner::adviseRule(InterfaceFinding& finding, const DeviceFinding& device) const
{
    const UdevRule rule{device.ids, std::nullopt};
    finding.nextSteps = {rule.command() + " | sudo tee /etc/udev/rules.d/" + rule.fileName()};
}

} // namespace

const char* InterfaceFinding::stateName() const
{
    switch (state) {
    case State::usable:
        return "usable";
    case State::readOnly:
        return "read-only";
    case State::denied:
        return "denied";
    case State::nodeMissing:
        return "node-missing";
    case State::noNode:
        return "no-node";
    case State::noHIDDevice:
        return "no-hid-device";
    case State::otherDriver:
        return "other-driver";
    case State::noDriver:
        return "no-driver";
    }
    return "";
}

DeviceFacts DeviceFinding::facts() const
{
    DeviceFacts facts;
    facts.ids = ids;
    facts.serialNumber = serialNumber;
    facts.place = place;
    for (const InterfaceFinding& interface : interfaces) {
        facts.nodes[interface.number] = interface.node;
    }
    return facts;
}

bool DeviceFinding::isUsable() const
{
    return !interfaces.empty() &&
           std::ranges::all_of(interfaces, [](const InterfaceFinding& one) { return one.state == State::usable; });
}

bool DeviceFinding::isAboutPermission() const
{
    return !isUsable() && !interfaces.empty() && std::ranges::all_of(interfaces, [](const InterfaceFinding& one) {
        return one.state == State::usable || one.isAboutPermission();
    });
}

std::vector<DeviceFinding> checkUp(const CheckupPlace& place, const DeviceFilter& filter,
                                   const Surroundings& surroundings)
{
    return Examiner(place, surroundings).examine(filter);
}

} // namespace qrxhid
