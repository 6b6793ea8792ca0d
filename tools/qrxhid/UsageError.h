#pragma once

#include <stdexcept>
#include <string>

namespace qrxhid {

/// A wrong command line: what() is the reason, hint() the nearest right form.
class UsageError : public std::runtime_error {
public:
    UsageError(const std::string& reason, std::string hint) : std::runtime_error(reason), _hint(std::move(hint)) {}
    const std::string& hint() const noexcept { return _hint; }

private:
    std::string _hint;
};

} // namespace qrxhid
