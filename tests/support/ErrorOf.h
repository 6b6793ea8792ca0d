#pragma once

#include <functional>
#include <system_error>

/// The errno of the std::system_error that the action throws; 0 if it throws none.
inline int errorOf(const std::function<void()>& action)
{
    try {
        action();
    } catch (const std::system_error& failure) {
        return failure.code().value();
    }
    return 0;
}
