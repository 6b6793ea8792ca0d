#include "FakePlatform.h"

#include <algorithm>
#include <stdexcept>

namespace fake {

namespace {

FakePlatform* sm_Current = nullptr;

} // namespace

FakePlatform::FakePlatform()
{
    if (sm_Current != nullptr) {
        throw std::logic_error("one platform at a time");
    }
    sm_Current = this;
}

FakePlatform::~FakePlatform()
{
    sm_Current = nullptr;
}

std::vector<std::string> FakePlatform::leaks() const
{
    std::vector<std::string> all = objects.leaks();
    for (const std::vector<std::string>& some : {registry.leaks(), hid.leaks()}) {
        all.insert(all.end(), some.begin(), some.end());
    }
    std::sort(all.begin(), all.end());
    return all;
}

FakePlatform& platform()
{
    return *sm_Current;
}

} // namespace fake
