#pragma once

#include <exception>
#include <utility>

/// Keeps the first exception of several steps that must all be taken: the later steps run, then it goes on its way.
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
