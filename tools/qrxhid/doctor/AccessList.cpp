#include "doctor/AccessList.h"

#include <array>
#include <cstdint>
#include <cstring>
#include <endian.h>
#include <sys/xattr.h>
#include <vector>

namespace qrxhid {

namespace {

// Read as bytes: the library for access lists would be one more package for whoever installs the tool.
// The attribute as the kernel has it (linux/posix_acl_xattr.h): a version, then entries, in little endian.
constexpr const char* kAttribute = "system.posix_acl_access";
constexpr std::uint32_t kVersion = 2;

struct Entry {
    enum Tag : std::uint16_t {
        owner = 0x01,
        user = 0x02,
        owningGroup = 0x04,
        group = 0x08,
        mask = 0x10,
        others = 0x20
    };

    std::uint16_t tag;
    std::uint16_t permissions;
    std::uint32_t id;
};
static_assert(sizeof(Entry) == 8);

/// Empty where the file has none, or where its folder knows of none.
std::vector<Entry> entriesOf(const std::string& path)
{
    // One for each user of a large machine.
    std::array<std::uint8_t, 1U << 16U> bytes{};
    const ssize_t size = getxattr(path.c_str(), kAttribute, bytes.data(), bytes.size());
    std::uint32_t version = 0;
    if (size < static_cast<ssize_t>(sizeof version)) {
        return {};
    }
    std::memcpy(&version, bytes.data(), sizeof version);
    if (le32toh(version) != kVersion) {
        return {};
    }
    std::vector<Entry> entries((static_cast<std::size_t>(size) - sizeof version) / sizeof(Entry));
    std::memcpy(entries.data(), bytes.data() + sizeof version, entries.size() * sizeof(Entry));
    for (Entry& entry : entries) {
        entry = {le16toh(entry.tag), le16toh(entry.permissions), le32toh(entry.id)};
    }
    return entries;
}

/// A mode says the same as a list with these entries.
std::vector<Entry> entriesOf(const struct stat& facts)
{
    constexpr unsigned int kOwnerShift = 6;
    constexpr unsigned int kGroupShift = 3;
    constexpr unsigned int kBits = 7;
    return {{Entry::owner, static_cast<std::uint16_t>((facts.st_mode >> kOwnerShift) & kBits), 0},
            {Entry::owningGroup, static_cast<std::uint16_t>((facts.st_mode >> kGroupShift) & kBits), 0},
            {Entry::others, static_cast<std::uint16_t>(facts.st_mode & kBits), 0}};
}

bool isOfGroups(const Entry& entry, const struct stat& facts, const User& user)
{
    return (entry.tag == Entry::owningGroup && user.isInGroup(facts.st_gid)) ||
           (entry.tag == Entry::group && user.isInGroup(entry.id));
}

} // namespace

// The owner's entry decides alone, then the user's own; of the groups' entries one that grants is enough, and only who
// has none of these is among the others.
bool isGranted(const std::string& path, const struct stat& facts, const User& user, unsigned int wanted)
{
    // Root needs no entry: the kernel lets it open any node (CAP_DAC_OVERRIDE).
    constexpr unsigned int kRoot = 0;
    if (user.id == kRoot) {
        return true;
    }
    std::vector<Entry> entries = entriesOf(path);
    if (entries.empty()) {
        entries = entriesOf(facts);
    }
    // The mask bounds what users and groups of the list get, but neither the owner nor the others. Without a list there
    // is none.
    unsigned int mask = ~0U;
    for (const Entry& entry : entries) {
        mask = entry.tag == Entry::mask ? entry.permissions : mask;
    }
    bool isInSomeGroup = false;
    bool isGrantedToGroup = false;
    bool isGrantedToOthers = false;
    for (const Entry& entry : entries) {
        const bool grants = (entry.permissions & wanted) != 0;
        const bool grantsWithinMask = (entry.permissions & mask & wanted) != 0;
        if (entry.tag == Entry::owner && user.id == facts.st_uid) {
            return grants;
        }
        if (entry.tag == Entry::user && user.id == entry.id) {
            return grantsWithinMask;
        }
        if (isOfGroups(entry, facts, user)) {
            isInSomeGroup = true;
            isGrantedToGroup = isGrantedToGroup || grantsWithinMask;
        }
        isGrantedToOthers = isGrantedToOthers || (entry.tag == Entry::others && grants);
    }
    return isInSomeGroup ? isGrantedToGroup : isGrantedToOthers;
}

} // namespace qrxhid
