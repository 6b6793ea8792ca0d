#pragma once

#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace qrxhid {

/// A wrong command line: what() is the reason, hint() the nearest right form, choices() what could have been meant, one
/// line each.
class UsageError : public std::runtime_error {
public:
    UsageError(const std::string& reason, std::string hint, std::vector<std::string> choices = {})
        : std::runtime_error(reason), _hint(std::move(hint)), _choices(std::move(choices))
    {
    }
    const std::string& hint() const noexcept { return _hint; }
    const std::vector<std::string>& choices() const noexcept { return _choices; }

private:
    std::string _hint;
    std::vector<std::string> _choices;
};

} // namespace qrxhid
