// A list of pairs in the order of their addition, until one is removed from an indexed list. Dictionaries are small: up
// to a few dozen pairs, comparing keys one by one is cheaper than hashing their text. Above that an index from key to
// place is kept beside the list.

#include "PairDictionary.h"

#include "CFString.h"

#include <algorithm>

namespace qrx::cf {

PairDictionary::PairDictionary(std::uint8_t flags, const CFDictionaryKeyCallBacks* keyCallBacks,
                               const CFDictionaryValueCallBacks* valueCallBacks)
    : __CFDictionary(flags), _keyCallBacks(keyCallBacks, kCFTypeDictionaryKeyCallBacks),
      _valueCallBacks(valueCallBacks, kCFTypeDictionaryValueCallBacks)
{
}

PairDictionary::~PairDictionary()
{
    for (const Pair& pair : _pairs) {
        _valueCallBacks.release(pair.value);
        _keyCallBacks.release(pair.key);
    }
}

bool PairDictionary::sameKey(const void* first, const void* second) const
{
    if (first == second) {
        return true;
    }
    // Two constants that are not the same object have different texts.
    if (_keyCallBacks.holdsObjects() && isConstantString(first) && isConstantString(second)) {
        return false;
    }
    return _keyCallBacks.equal(first, second);
}

const PairDictionary::Pair* PairDictionary::find(const void* key) const
{
    if (_index != nullptr) {
        const auto found = _index->find(key);
        return found != _index->end() ? &_pairs[found->second] : nullptr;
    }
    const auto found =
        std::find_if(_pairs.begin(), _pairs.end(), [&](const Pair& pair) { return sameKey(pair.key, key); });
    return found != _pairs.end() ? &*found : nullptr;
}

void PairDictionary::set(const void* key, const void* value)
{
    if (const Pair* known = find(key)) {
        const auto place = static_cast<std::size_t>(known - _pairs.data());
        // The new value is retained before the old one is released: they may be the same object. The pair stores the
        // new value before the release, whose callback may look at the dictionary.
        const void* previous = known->value;
        _pairs[place].value = _valueCallBacks.retain(value);
        _valueCallBacks.release(previous);
    } else {
        append(key, value);
    }
}

void PairDictionary::append(const void* key, const void* value)
{
    const std::size_t place = _pairs.size();
    const Pair pair{_keyCallBacks.retain(key), _valueCallBacks.retain(value)};
    try {
        _pairs.push_back(pair);
        if (_index != nullptr) {
            _index->emplace(pair.key, place);
        } else if (_pairs.size() > kIndexedFrom) {
            makeIndex();
        }
    } catch (...) {
        // Out of memory in the list or in the index: the pair is taken back, so that list and index agree.
        _pairs.resize(place, pair);
        _valueCallBacks.release(pair.value);
        _keyCallBacks.release(pair.key);
        throw;
    }
}

void PairDictionary::makeIndex()
{
    // Built aside and stored when it is complete: if memory runs out, the list is searched as before.
    auto index = std::make_unique<Index>(2 * _pairs.size(), KeyHash{&_keyCallBacks}, KeyEqual{&_keyCallBacks});
    for (std::size_t place = 0; place < _pairs.size(); ++place) {
        index->emplace(_pairs[place].key, place);
    }
    _index = std::move(index);
}

void PairDictionary::remove(const void* key)
{
    const Pair* known = find(key);
    if (known == nullptr) {
        return;
    }
    // A copy: the pair's place is used again before the references are released.
    const Pair removed = *known;
    const auto place = static_cast<std::size_t>(known - _pairs.data());
    if (_index != nullptr) {
        // The last pair moves into the gap: the order of a dictionary is not promised.
        _index->erase(removed.key);
        if (place + 1 < _pairs.size()) {
            _pairs[place] = _pairs.back();
            (*_index)[_pairs[place].key] = place;
        }
        _pairs.pop_back();
    } else {
        _pairs.erase(_pairs.begin() + static_cast<std::ptrdiff_t>(place));
    }
    _valueCallBacks.release(removed.value);
    _keyCallBacks.release(removed.key);
}

} // namespace qrx::cf
