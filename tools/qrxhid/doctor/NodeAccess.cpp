#include "doctor/NodeAccess.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <grp.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrxhid {

namespace {

// In containers most numbers have no name.
std::string userText(uid_t id)
{
    const passwd* user = getpwuid(id);
    return user == nullptr ? std::to_string(id) : std::string(user->pw_name) + " (" + std::to_string(id) + ")";
}

std::string groupText(gid_t id)
{
    const group* found = getgrgid(id);
    return found == nullptr ? std::to_string(id) : std::string(found->gr_name) + " (" + std::to_string(id) + ")";
}

// The mode is told in octal, as chmod and udev's rules take it.
std::string describe(const struct stat& facts, std::optional<unsigned int> userID)
{
    std::array<char, 8> mode{};
    std::snprintf(mode.data(), mode.size(), "%04o", facts.st_mode & 07777U);
    return "mode " + std::string(mode.data()) + ", owner " + userText(facts.st_uid) + ", group " +
           groupText(facts.st_gid) + "; you are " + userText(userID.value_or(geteuid()));
}

/// `wanted` is R_OK or W_OK; the bits of a mode have the same values.
bool isGranted(const std::string& path, const struct stat& facts, std::optional<unsigned int> userID, int wanted)
{
    if (!userID) {
        return faccessat(AT_FDCWD, path.c_str(), wanted, AT_EACCESS) == 0;
    }
    constexpr unsigned int kOwnerShift = 6;
    const unsigned int bits = *userID == facts.st_uid ? facts.st_mode >> kOwnerShift : facts.st_mode;
    return *userID == 0 || (bits & static_cast<unsigned int>(wanted)) != 0;
}

} // namespace

// AT_EACCESS asks for the effective user, as open() would; plain access() asks for the real one.
NodeAccess NodeAccess::examine(const std::string& path, std::optional<unsigned int> userID)
{
    struct stat facts = {};
    if (stat(path.c_str(), &facts) != 0) {
        return {Kind::missing, {}};
    }
    const bool mayRead = isGranted(path, facts, userID, R_OK);
    const bool mayWrite = isGranted(path, facts, userID, W_OK);
    const Kind kind = !mayRead ? Kind::denied : mayWrite ? Kind::readWrite : Kind::readOnly;
    return {kind, describe(facts, userID)};
}

} // namespace qrxhid
