#pragma once

#include <IOKit/IOKitLib.h>

#include <string_view>

namespace qrx::iokit {

/// Whatever a handle can stand for: an entry, an iterator, a notification, the master port.
class RegistryObject {
public:
    RegistryObject() = default;
    RegistryObject(const RegistryObject&) = delete;
    RegistryObject& operator=(const RegistryObject&) = delete;
    virtual ~RegistryObject() = default;

    virtual bool conformsTo(std::string_view) const { return false; }

private:
    /// Its handle while somebody holds one; 0 otherwise. The handle table's, under the registry's lock.
    friend class HandleTable;
    io_object_t _handle = IO_OBJECT_NULL;
};

/// What IOMasterPort hands out.
class MasterPort final : public RegistryObject {};

} // namespace qrx::iokit
