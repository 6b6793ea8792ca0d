#pragma once

#include <typeinfo>

namespace qrx {

/// `object`, which may be null, as a `Class` if that is its very class, else null. Where an object of that class is
/// nearly sure to be found this is a comparison; a cast, which also finds derived classes, searches bases by name.
template <class Class, class Base>
Class* exactly(Base* object)
{
    return object != nullptr && typeid(*object) == typeid(Class) ? static_cast<Class*>(object) : nullptr;
}

} // namespace qrx
