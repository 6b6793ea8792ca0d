#include "doctor/NodeAccess.h"

#include "doctor/AccessList.h"

#include <array>
#include <cstdio>
#include <fcntl.h>
#include <grp.h>
#include <sys/stat.h>
#include <unistd.h>

namespace qrxhid {

namespace {

std::string groupText(gid_t id)
{
    // A group without a name is usual in containers, where the number alone is mapped.
    const group* found = getgrgid(id);
    return found == nullptr ? std::to_string(id) : std::string(found->gr_name) + " (" + std::to_string(id) + ")";
}

// The mode is told in octal, as chmod and udev's rules take it.
std::string describe(const struct stat& facts, const std::optional<User>& user)
{
    std::array<char, 8> mode{};
    std::snprintf(mode.data(), mode.size(), "%04o", facts.st_mode & 07777U);
    return "mode " + std::string(mode.data()) + ", owner " + User{facts.st_uid, {}}.text() + ", group " +
           groupText(facts.st_gid) + (user ? "; asked for " + user->text() : "; you are " + User::current().text());
}

/// `wanted` is R_OK or W_OK; the bits of a mode have the same values.
bool mayUse(const std::string& path, const struct stat& facts, const std::optional<User>& user, int wanted)
{
    // AT_EACCESS asks for the effective user, as open() would; plain access() asks for the real one.
    return user ? isGranted(path, facts, *user, static_cast<unsigned int>(wanted))
                : faccessat(AT_FDCWD, path.c_str(), wanted, AT_EACCESS) == 0;
}

} // namespace

NodeAccess NodeAccess::examine(const std::string& path, const std::optional<User>& user)
{
    struct stat facts = {};
    if (stat(path.c_str(), &facts) != 0) {
        return {Kind::missing, {}};
    }
    // Asked separately: the library reads input from a node that may not be written to.
    const bool mayRead = mayUse(path, facts, user, R_OK);
    const bool mayWrite = mayUse(path, facts, user, W_OK);
    const Kind kind = !mayRead ? Kind::denied : mayWrite ? Kind::readWrite : Kind::readOnly;
    return {kind, describe(facts, user)};
}

} // namespace qrxhid
