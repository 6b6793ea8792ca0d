#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace fake {

class Value;
using List = std::vector<Value>;
using Dict = std::map<std::string, Value>;

/// A text; `held` tells whether the platform can hand out its bytes directly or has to convert it.
struct Text {
    std::string utf8;
    bool held = true;
};

/// What a registry property is made of. Each read of the registry makes new property objects from it.
class Value {
public:
    Value() = default; // an empty place: only in arrays
    Value(int number) : _value(std::int64_t{number}) {}
    Value(std::int64_t number) : _value(number) {}
    Value(double number) : _value(number) {}
    Value(bool flag) : _value(flag) {}
    Value(const char* text) : _value(Text{text, true}) {}
    Value(Text text) : _value(std::move(text)) {}
    Value(std::vector<std::uint8_t> data) : _value(std::move(data)) {}
    Value(List list) : _value(std::move(list)) {}
    Value(Dict dict) : _value(std::move(dict)) {}

    template <class Kind>
    const Kind* as() const
    {
        return std::get_if<Kind>(&_value);
    }
    bool isEmpty() const { return std::holds_alternative<std::monostate>(_value); }

private:
    std::variant<std::monostate, std::int64_t, double, bool, Text, std::vector<std::uint8_t>, List, Dict> _value;
};

} // namespace fake
