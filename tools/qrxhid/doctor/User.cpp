#include "doctor/User.h"

#include "OptionValues.h"
#include "UsageError.h"

#include <algorithm>
#include <cstdint>
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace qrxhid {

namespace {

std::vector<unsigned int> groupsOf(const passwd& user)
{
    // The first call tells how many there are.
    int count = 0;
    getgrouplist(user.pw_name, user.pw_gid, nullptr, &count);
    std::vector<gid_t> groups(static_cast<std::size_t>(std::max(count, 0)));
    if (getgrouplist(user.pw_name, user.pw_gid, groups.data(), &count) < 0) {
        return {user.pw_gid};
    }
    return {groups.begin(), groups.end()};
}

} // namespace

User User::current()
{
    // No groups: for the caller the kernel itself is asked (NodeAccess.cpp), which knows them.
    return {geteuid(), {}};
}

User User::find(const std::string& option, const std::string& text)
{
    // A name comes first: it may consist of digits.
    const passwd* user = getpwnam(text.c_str());
    if (user != nullptr) {
        return {user->pw_uid, groupsOf(*user)};
    }
    if (text.empty() || !std::ranges::all_of(text, [](char one) { return one >= '0' && one <= '9'; })) {
        throw UsageError(option + " " + text + ": there is no such user", option + " $USER");
    }
    const unsigned int id = parseWhole(option, text, UINT32_MAX);
    user = getpwuid(id);
    return {id, user == nullptr ? std::vector<unsigned int>() : groupsOf(*user)};
}

bool User::isInGroup(unsigned int group) const
{
    return std::ranges::find(groups, group) != groups.end();
}

std::string User::text() const
{
    const passwd* user = getpwuid(id);
    return user == nullptr ? std::to_string(id) : std::string(user->pw_name) + " (" + std::to_string(id) + ")";
}

} // namespace qrxhid
