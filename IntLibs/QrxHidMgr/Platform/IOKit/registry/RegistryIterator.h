#pragma once

#include "RegistryEntry.h"
#include "RegistryObject.h"

#include <cstddef>
#include <utility>

namespace qrx::iokit {

/// Runs over a private list of entries. Under the registry's lock.
class RegistryIterator final : public RegistryObject {
public:
    explicit RegistryIterator(RegistryEntry::List entries) : _entries(std::move(entries)) {}

    /// The next entry; null at the end. Entries that have ended since the list was made are left out: an end that came
    /// before anybody held the entry or knew of it is announced to nobody.
    std::shared_ptr<RegistryEntry> current()
    {
        while (_position < _entries.size() && !_entries[_position]->isActive()) {
            ++_position;
        }
        return _position < _entries.size() ? _entries[_position] : nullptr;
    }
    /// Leaves what `current` has just given behind.
    void advance() { ++_position; }

    void reset() { _position = 0; }

private:
    const RegistryEntry::List _entries;
    std::size_t _position = 0;
};

} // namespace qrx::iokit
