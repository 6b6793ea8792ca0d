#pragma once

#include "FakeObjects.h"

#include <IOKit/IOKitLib.h>

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

struct IONotificationPort {
    fake::FakeObject* source = nullptr;
};

namespace fake {

/// An entry as the test describes it.
struct FakeEntry {
    std::string name;
    std::string className;
    Dict properties;
    std::vector<FakeEntry*> children;
    io_object_t handle = 0;
    bool isTerminated = false;
};

/// A registry of what the test adds. Handle numbers are given once and never reused.
class FakeRegistry {
public:
    /// A new entry; below no parent it is a device, which is announced to those who observe by announce().
    FakeEntry& add(FakeEntry* parent, std::string name, std::string className, Dict properties = {});
    void announce(FakeEntry& device);
    /// The device leaves: it is announced as ended and found no more; handles on it go on working.
    void terminate(FakeEntry& device);

    FakeEntry& entry(const std::string& name);
    /// The references that the process holds on an entry.
    int references(const FakeEntry& entry) const { return _handles.at(entry.handle).references; }
    std::vector<std::string> leaks() const;

    // --- what the published functions do -----------------------------------------------------------------------

    struct Iterator {
        std::deque<FakeEntry*> left;
        /// Only for notifications.
        std::string type;
        IOServiceMatchingCallback callback = nullptr;
        void* refcon = nullptr;
        IONotificationPort* port = nullptr;
        bool isArmed = false;
    };
    struct Handle {
        std::string name;
        int references = 0;
        FakeEntry* entry = nullptr;
        std::unique_ptr<Iterator> iterator;
    };

    io_object_t make(std::string name);
    io_object_t makeIterator(std::string name, std::deque<FakeEntry*> entries);
    io_object_t makeNotification(IONotificationPort* port, const std::string& type, IOServiceMatchingCallback callback,
                                 void* refcon);
    IONotificationPort* makePort();
    /// Null (and a failure of the test) for a handle that nobody owns, except of an entry that is still there.
    Handle* handle(io_object_t number, const char* function);
    /// The same without any judgement.
    const Handle* find(io_object_t number) const
    {
        const auto found = _handles.find(number);
        return found == _handles.end() ? nullptr : &found->second;
    }
    FakeEntry* next(io_iterator_t iterator);
    std::deque<FakeEntry*> devices() const;

private:
    void tell(const std::string& type, FakeEntry* device);
    bool perform(IONotificationPort* port);

    std::vector<std::unique_ptr<FakeEntry>> _entries;
    std::vector<std::unique_ptr<IONotificationPort>> _ports;
    std::vector<FakeEntry*> _devices;
    std::map<io_object_t, Handle> _handles;
    io_object_t _lastHandle = 0x1000;
};

bool conformsTo(const FakeEntry& entry, const std::string& className);

} // namespace fake
