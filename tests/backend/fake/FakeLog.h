#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace fake {

/// Every call of the platform as a line of text, and the script of the calls that fail.
class FakeLog {
public:
    /// What changes nothing (looking into property objects) is written apart, and only while it is wanted.
    void look(const char* function, const std::string& object);
    bool withLooks = true;
    void call(std::string line);
    /// Counts one call that can fail; true when this one has to.
    bool fails(const std::string& function);

    /// The number-th call (from 1) of the function fails.
    void failCall(std::string function, int number = 1) { _failing.insert({std::move(function), number}); }
    /// Every call of the function fails.
    void failAll(std::string function) { _failing.insert({std::move(function), 0}); }
    /// The number-th (from 1) of all calls that can fail does.
    void failAnyCall(int number) { _failingAny = number; }
    /// Which call failAnyCall has hit: the function's name, or "".
    const std::string& failed() const { return _failed; }

    /// One line a call, without the looks.
    std::string text() const;
    /// The lines, in order, that contain one of the words.
    std::string linesWith(const std::vector<std::string>& words) const;
    /// Calls and looks whose line begins with this.
    int countOf(const std::string& start) const;
    void clear();

private:
    std::vector<std::pair<bool, std::string>> _lines;
    std::set<std::pair<std::string, int>> _failing;
    std::map<std::string, int> _counts;
    int _failingAny = 0;
    int _countAny = 0;
    std::string _failed;
};

} // namespace fake
