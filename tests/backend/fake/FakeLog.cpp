#include "FakeLog.h"

namespace fake {

void FakeLog::look(const char* function, const std::string& object)
{
    if (withLooks) {
        _lines.emplace_back(false, std::string(function) + "(" + object + ")");
    }
}

void FakeLog::call(std::string line)
{
    _lines.emplace_back(true, std::move(line));
}

bool FakeLog::fails(const std::string& function)
{
    if (++_countAny == _failingAny) {
        _failed = function;
        return true;
    }
    const int number = ++_counts[function];
    return _failing.count({function, number}) != 0 || _failing.count({function, 0}) != 0;
}

std::string FakeLog::text() const
{
    std::string text;
    for (const auto& [isCall, line] : _lines) {
        if (isCall) {
            text += line + "\n";
        }
    }
    return text;
}

std::string FakeLog::linesWith(const std::vector<std::string>& words) const
{
    std::string text;
    for (const auto& [isCall, line] : _lines) {
        for (const std::string& word : words) {
            if (line.find(word) != std::string::npos) {
                text += line + "\n";
                break;
            }
        }
    }
    return text;
}

int FakeLog::countOf(const std::string& start) const
{
    int count = 0;
    for (const auto& [isCall, line] : _lines) {
        count += line.rfind(start, 0) == 0 ? 1 : 0;
    }
    return count;
}

void FakeLog::clear()
{
    _lines.clear();
}

} // namespace fake
