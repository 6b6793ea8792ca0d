#pragma once

#include <exception>
#include <utility>

/// Keeps the first exception of several steps that must all run; `rethrow` throws it when they have. Exceptions of
/// later steps are dropped.
class FirstException {
public:
    template <class Step>
    void watch(Step&& step)
    {
        try {
            std::forward<Step>(step)();
        } catch (...) {
            if (!_first) {
                _first = std::current_exception();
            }
        }
    }
    void rethrow() const
    {
        if (_first) {
            std::rethrow_exception(_first);
        }
    }

private:
    std::exception_ptr _first;
};
