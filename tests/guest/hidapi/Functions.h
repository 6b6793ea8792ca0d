#pragma once

#include "qrx_hidapi.h"

#include <hidapi/hidapi.h>

#include <cstddef>
#include <stdexcept>
#include <string>

#include <dlfcn.h>

namespace qrx::guest {

/// One library with hidapi's interface, whichever it is: its functions, looked up by name.
class Functions {
public:
    /// Throws std::runtime_error if the library cannot be loaded or lacks a function.
    explicit Functions(const std::string& path) : _library(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL))
    {
        if (_library == nullptr) {
            throw std::runtime_error(::dlerror());
        }
        find(enumerate, "hid_enumerate");
        find(freeEnumeration, "hid_free_enumeration");
        find(open, "hid_open");
        find(openPath, "hid_open_path");
        find(close, "hid_close");
        find(read, "hid_read");
        find(readTimeout, "hid_read_timeout");
        find(setNonblocking, "hid_set_nonblocking");
        find(write, "hid_write");
        find(sendFeature, "hid_send_feature_report");
        find(getFeature, "hid_get_feature_report");
        find(getInput, "hid_get_input_report");
        find(manufacturer, "hid_get_manufacturer_string");
        find(product, "hid_get_product_string");
        find(serial, "hid_get_serial_number_string");
        find(indexed, "hid_get_indexed_string");
        find(info, "hid_get_device_info");
        find(error, "hid_error");
        find(exit, "hid_exit");
        lookUp(descriptor, "qrx_hid_descriptor");
        lookUp(setCallback, "qrx_hid_set_callback");
    }

    decltype(&hid_enumerate) enumerate;
    decltype(&hid_free_enumeration) freeEnumeration;
    decltype(&hid_open) open;
    decltype(&hid_open_path) openPath;
    decltype(&hid_close) close;
    decltype(&hid_read) read;
    decltype(&hid_read_timeout) readTimeout;
    decltype(&hid_set_nonblocking) setNonblocking;
    decltype(&hid_write) write;
    decltype(&hid_send_feature_report) sendFeature;
    decltype(&hid_get_feature_report) getFeature;
    decltype(&hid_get_input_report) getInput;
    decltype(&hid_get_manufacturer_string) manufacturer;
    decltype(&hid_get_product_string) product;
    decltype(&hid_get_serial_number_string) serial;
    decltype(&hid_get_indexed_string) indexed;
    decltype(&hid_get_device_info) info;
    decltype(&hid_error) error;
    decltype(&hid_exit) exit;
    /// Null in hidapi.
    decltype(&qrx_hid_descriptor) descriptor;
    decltype(&qrx_hid_set_callback) setCallback;

private:
    template <typename Function>
    void lookUp(Function& function, const char* name)
    {
        function = reinterpret_cast<Function>(::dlsym(_library, name));
    }
    template <typename Function>
    void find(Function& function, const char* name)
    {
        lookUp(function, name);
        if (function == nullptr) {
            throw std::runtime_error(::dlerror());
        }
    }

    void* _library;
};

/// Debian's.
inline const Functions& peer()
{
    static const Functions sm_Peer(QRX_PEER_HIDAPI);
    return sm_Peer;
}

inline const Functions& ours()
{
    static const Functions sm_Ours(QRX_OUR_HIDAPI);
    return sm_Ours;
}

} // namespace qrx::guest
