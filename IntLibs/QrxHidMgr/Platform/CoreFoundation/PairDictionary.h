#pragma once

/// The general form of a dictionary, and the only mutable one.

#include "CFDictionary.h"
#include "CallBacks.h"

#include <memory>
#include <unordered_map>
#include <vector>

namespace qrx::cf {

/// A list of pairs, searched in order while it is short and through a hash index above kIndexedFrom pairs.
struct PairDictionary : __CFDictionary {
    /// Up to here a scan over pointers beats hashing the text of a key.
    static constexpr std::size_t kIndexedFrom = 32;

    struct Pair {
        const void* key;
        const void* value;
    };

    PairDictionary(std::uint8_t flags, const CFDictionaryKeyCallBacks* keyCallBacks,
                   const CFDictionaryValueCallBacks* valueCallBacks);
    ~PairDictionary();

    /// Null if the key is absent.
    const Pair* find(const void* key) const;
    void set(const void* key, const void* value);
    /// As set, for a key known to be absent.
    void append(const void* key, const void* value);
    void remove(const void* key);

    struct KeyHash {
        const CallBacks<CFDictionaryKeyCallBacks>* callBacks;
        std::size_t operator()(const void* key) const { return callBacks->hash(key); }
    };
    struct KeyEqual {
        const CallBacks<CFDictionaryKeyCallBacks>* callBacks;
        bool operator()(const void* first, const void* second) const { return callBacks->equal(first, second); }
    };
    using Index = std::unordered_map<const void*, std::size_t, KeyHash, KeyEqual>;

    void makeIndex();
    bool sameKey(const void* first, const void* second) const;

    const CallBacks<CFDictionaryKeyCallBacks> _keyCallBacks;
    const CallBacks<CFDictionaryValueCallBacks> _valueCallBacks;
    std::vector<Pair> _pairs;
    std::unique_ptr<Index> _index; ///< of a key (the stored one) to its place; null while the list is short
};

} // namespace qrx::cf
