#pragma once

#include <type_traits>
#include <typeinfo>

namespace qrx {

/// Whether `Class` is the very class of `object`: one comparison, where a cast, which also finds derived classes,
/// searches bases by name. A false may be wrong (a class that is described twice in a process), a true is not: ask a
/// cast after a false.
template <class Class, class Base>
bool isExactly(const Base& object)
{
    return &typeid(object) == &typeid(Class);
}

/// `object`, which may be null, as a `Class` if that is its very class, else null.
template <class Class, class Base>
Class* exactly(Base* object)
{
    return object != nullptr && isExactly<std::remove_const_t<Class>>(*object) ? static_cast<Class*>(object) : nullptr;
}

} // namespace qrx
