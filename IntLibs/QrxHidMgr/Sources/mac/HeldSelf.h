#pragma once

#include "swizzler"

/// A handle that keeps `object` alive while one of its own operations calls the application. Empty when nobody holds
/// the object: the handle would be the first and, at its end, the last one, and delete it.
template <class Object>
mis::swizzler<Object> heldSelf(Object* object)
{
    return object->getReferenceCount() == 0 ? mis::swizzler<Object>() : mis::swizzler<Object>(object);
}
