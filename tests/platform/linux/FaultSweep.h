#pragma once

#include "FaultyCalls.h"

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace qrx::platform::test {

/// One call of a story that fails.
struct Fault {
    /// Its place among the story's calls, from 1 on.
    int number = 0;
    /// Its line in the trace of the undisturbed story: "open descriptors", "ioctl".
    std::string call;
    int error = 0;
};
std::ostream& operator<<(std::ostream& stream, const Fault& fault);

/// The first word of a line of a trace: "open".
std::string kindOf(const std::string& call);
/// What the call of that line can fail with.
std::vector<int> errorsOf(const std::string& call);

/// Whether what happens is the same as without a fault: there is none, a signal interrupts, or a close fails.
bool isUnnoticed(const std::optional<Fault>& fault);

/// Something that the provider goes through. Made anew for each telling; its calls up to a fault must be the same each
/// time.
class Story {
public:
    virtual ~Story() = default;
    virtual FaultyCalls& calls() = 0;
    /// Acts, and judges the outcome. All that was opened is closed when it returns.
    virtual void tell(const std::optional<Fault>& fault) = 0;
};

/// Tells a story undisturbed, and then as often as it has calls, times the errors that each of them can give; in every
/// telling another one fails. Fails the test if a fault did not come about, or at another call than in the undisturbed
/// story, or if a descriptor stays open. `kinds`, sorted, must be those of the story's calls, no more and no fewer.
void sweepFaults(const std::function<std::unique_ptr<Story>()>& make, const std::vector<std::string>& kinds);

} // namespace qrx::platform::test
