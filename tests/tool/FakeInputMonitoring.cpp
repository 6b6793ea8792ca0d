// The system's permission as the environment names it, in QRXHID_INPUT_MONITORING. A user who is asked says yes.

#include "doctor/mac/InputMonitoring.h"

#include <cstdlib>
#include <string>

namespace {

std::string sm_Answer;

} // namespace

namespace qrxhid {

InputMonitoring inputMonitoring()
{
    const char* const set = std::getenv("QRXHID_INPUT_MONITORING");
    const std::string state = !sm_Answer.empty() ? sm_Answer : set == nullptr ? "" : set;
    return state == "denied"      ? InputMonitoring::denied
           : state == "undecided" ? InputMonitoring::undecided
           : state == "notNeeded" ? InputMonitoring::notNeeded
                                  : InputMonitoring::granted;
}

void requestInputMonitoring()
{
    if (inputMonitoring() == InputMonitoring::undecided) {
        sm_Answer = "granted";
    }
}

} // namespace qrxhid
