#pragma once

#include "Base/SystemCalls.h"

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace qrx::platform {

/// Whether report nodes are there as they are meant to be. The kernel makes a node for root alone; udevd gives it to
/// its users later, by rules that may take their time. A device that is announced in between could not be opened.
///
/// udevd's own event marks the rules complete. Without that event udevd's database can be asked, which is written
/// shortly before the last rules (those with access lists) are carried out. Nodes that are older than `takenAge` are
/// taken as they are.
class NodeReadiness {
public:
    enum class Rules {
        none,     ///< a node is ready when it exists: udevd's events are not received
        database, ///< it must also be in udevd's database, if udevd runs
        events    ///< it must also have been in an event of udevd's
    };

    NodeReadiness(SystemCalls& calls, std::string deviceRoot, std::string runRoot, std::chrono::milliseconds takenAge);

    void setRules(Rules rules) { _rules = rules; }

    /// `path` is that of a node's event: ".../0003:046D:C52B.0001/hidraw/hidraw0".
    void tell(std::string_view path);
    void forget(std::string_view path);
    void forgetAll() { _told.clear(); }

    /// `hidDevice` is "0003:046D:C52B.0001", `node` "hidraw0". One system call as a rule.
    bool isReady(const std::string& hidDevice, const std::string& node);

private:
    static std::string key(std::string_view path);
    bool isTold(const std::string& key) const;
    bool isInDatabase(unsigned majorNumber, unsigned minorNumber);

    SystemCalls& _calls;
    const std::string _deviceRoot;
    const std::string _runRoot;
    const std::chrono::milliseconds _takenAge;
    Rules _rules = Rules::database;
    /// HID device and node: the running number in the device's name makes it unique for ever.
    std::vector<std::string> _told;
};

} // namespace qrx::platform
