#pragma once

#include "QrxHIDDevice.h"

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace qrxhid {

/// Notices when input reports of one open device may be missing.
class LossWatch {
public:
    /// An interface whose queue was found full since the last look.
    struct Loss {
        int interfaceNumber;
        /// How many times in all.
        std::uint64_t count;
    };

    /// A report of this interface has arrived, so a look is worth while.
    void noteReport(int interfaceNumber) { _toLookAt.insert(interfaceNumber); }

    /// Looks at the interfaces that reports came from since the last look.
    std::vector<Loss> look(const QrxHIDDevice& device);

private:
    std::set<int> _toLookAt;
    std::map<int, std::uint64_t> _known;
};

/// "reports of interface 0 may be missing: the queue behind it was found full, 2 times so far"
std::string lossText(const LossWatch::Loss& loss);

} // namespace qrxhid
