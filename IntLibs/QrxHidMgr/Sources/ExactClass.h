#pragma once

#include <type_traits>
#include <typeinfo>

namespace qrx {

/// True if `Class` is the most derived class of `object`: one comparison of addresses, where a `dynamic_cast`, which
/// also finds derived classes, compares names of bases. A false negative is possible (a class that is described twice
/// in a process); then use a cast. A true is always right.
template <class Class, class Base>
bool isExactly(const Base& object)
{
    return &typeid(object) == &typeid(Class);
}

/// `object`, which may be null, as a `Class` if that is its most derived class, else null.
template <class Class, class Base>
Class* exactly(Base* object)
{
    return object != nullptr && isExactly<std::remove_const_t<Class>>(*object) ? static_cast<Class*>(object) : nullptr;
}

} // namespace qrx
