#include "FakeRegistry.h"

#include "FakePlatform.h"
#include "PlatformForm.h"

#include <IOKit/usb/IOUSBLib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

mach_port_t bootstrap_port = 7;

namespace fake {

FakeEntry& FakeRegistry::add(FakeEntry* parent, std::string name, std::string className, Dict properties)
{
    _entries.push_back(std::make_unique<FakeEntry>());
    FakeEntry& entry = *_entries.back();
    entry.name = std::move(name);
    entry.className = std::move(className);
    entry.properties = std::move(properties);
    entry.handle = make(entry.name);
    _handles[entry.handle].entry = &entry;
    _handles[entry.handle].references = 0;
    if (parent != nullptr) {
        parent->children.push_back(&entry);
    } else {
        _devices.push_back(&entry);
    }
    return entry;
}

void FakeRegistry::announce(FakeEntry& device)
{
    tell("IOServiceFirstMatch", &device);
}

void FakeRegistry::terminate(FakeEntry& device)
{
    device.isTerminated = true;
    _devices.erase(std::remove(_devices.begin(), _devices.end(), &device), _devices.end());
    tell("IOServiceTerminate", &device);
}

FakeEntry& FakeRegistry::entry(const std::string& name)
{
    for (const auto& entry : _entries) {
        if (entry->name == name) {
            return *entry;
        }
    }
    throw std::runtime_error("no entry " + name);
}

std::vector<std::string> FakeRegistry::leaks() const
{
    std::vector<std::string> names;
    for (const auto& [number, handle] : _handles) {
        if (handle.references != 0) {
            names.push_back("handle " + handle.name + " x" + std::to_string(handle.references));
        }
    }
    return names;
}

io_object_t FakeRegistry::make(std::string name)
{
    Handle& handle = _handles[++_lastHandle];
    handle.name = std::move(name);
    handle.references = 1;
    return _lastHandle;
}

io_object_t FakeRegistry::makeIterator(std::string name, std::deque<FakeEntry*> entries)
{
    const io_object_t number = make(std::move(name));
    _handles[number].iterator = std::make_unique<Iterator>();
    _handles[number].iterator->left = std::move(entries);
    return number;
}

io_object_t FakeRegistry::makeNotification(IONotificationPort* port, const std::string& type,
                                           IOServiceMatchingCallback callback, void* refcon)
{
    const bool isArrival = type == "IOServiceFirstMatch";
    const io_object_t number = makeIterator(isArrival ? "arrivals" : "terminations", {});
    Iterator& iterator = *_handles[number].iterator;
    iterator.type = type;
    iterator.callback = callback;
    iterator.refcon = refcon;
    iterator.port = port;
    if (isArrival) {
        iterator.left = devices();
    } else {
        for (const auto& entry : _entries) {
            if (entry->isTerminated && references(*entry) != 0) {
                iterator.left.push_back(entry.get());
            }
        }
    }
    return number;
}

IONotificationPort* FakeRegistry::makePort()
{
    _ports.push_back(std::make_unique<IONotificationPort>());
    IONotificationPort* port = _ports.back().get();
    port->source = platform().runLoop.makeSource("port-source", [this, port] { return perform(port); });
    port->source->onDeath = [port] { port->source = nullptr; };
    return port;
}

FakeRegistry::Handle* FakeRegistry::handle(io_object_t number, const char* function)
{
    const auto found = _handles.find(number);
    if (found == _handles.end()) {
        ADD_FAILURE() << function << " called with an unknown handle " << number;
        return nullptr;
    }
    Handle& handle = found->second;
    if (handle.references == 0 && (handle.entry == nullptr || handle.entry->isTerminated)) {
        ADD_FAILURE() << function << " called with a handle that was given back: " << handle.name;
    }
    return &handle;
}

FakeEntry* FakeRegistry::next(io_iterator_t number)
{
    Handle* found = handle(number, "IOIteratorNext");
    if (found == nullptr || !found->iterator) {
        return nullptr;
    }
    Iterator& iterator = *found->iterator;
    if (iterator.left.empty()) {
        iterator.isArmed = true;
        return nullptr;
    }
    FakeEntry* entry = iterator.left.front();
    iterator.left.pop_front();
    ++_handles[entry->handle].references;
    return entry;
}

std::deque<FakeEntry*> FakeRegistry::devices() const
{
    std::deque<FakeEntry*> devices;
    for (FakeEntry* device : _devices) {
        if (conformsTo(*device, kIOUSBDeviceClassName)) {
            devices.push_back(device);
        }
    }
    return devices;
}

void FakeRegistry::tell(const std::string& type, FakeEntry* device)
{
    for (auto& [number, handle] : _handles) {
        if (handle.iterator && handle.iterator->type == type && handle.references != 0) {
            handle.iterator->left.push_back(device);
        }
    }
}

bool FakeRegistry::perform(IONotificationPort* port)
{
    for (auto& [number, handle] : _handles) {
        Iterator* iterator = handle.iterator.get();
        if (iterator != nullptr && iterator->port == port && handle.references != 0 && iterator->isArmed &&
            !iterator->left.empty()) {
            iterator->isArmed = false;
            iterator->callback(iterator->refcon, number);
            return true;
        }
    }
    return false;
}

bool conformsTo(const FakeEntry& entry, const std::string& className)
{
    return entry.className == className || (entry.className == "IOUSBHIDDriver" && className == "IOHIDDevice") ||
           (entry.className == "IOUSBHubDevice" && className == kIOUSBDeviceClassName);
}

} // namespace fake

using namespace fake;

namespace {

constexpr kern_return_t kFailure = static_cast<kern_return_t>(0xe00002bc);

std::string nameOf(io_object_t number, const char* function)
{
    if (number == 0) {
        return "0";
    }
    const FakeRegistry::Handle* handle = platform().registry.handle(number, function);
    return handle == nullptr ? "?" : handle->name;
}

FakeEntry* entryOf(io_object_t number, const char* function)
{
    const FakeRegistry::Handle* handle = number == 0 ? nullptr : platform().registry.handle(number, function);
    return handle == nullptr ? nullptr : handle->entry;
}

/// The collections of a list without what is in them.
Value withoutChildren(const Value& value)
{
    const List* list = value.as<List>();
    if (list == nullptr) {
        return value;
    }
    List bare;
    for (const Value& item : *list) {
        const Dict* dict = item.as<Dict>();
        if (dict == nullptr) {
            bare.push_back(item);
            continue;
        }
        Dict collection = *dict;
        collection.erase("Elements");
        bare.emplace_back(std::move(collection));
    }
    return bare;
}

/// A property as it is read by its name.
Value readByName(const std::string& name, const Value& value)
{
    return kNestsOnlyInTable && name == "Elements" ? withoutChildren(value) : value;
}

/// The whole table of an entry. What it holds is named as if it had been read by its name.
FakeObject* makeTable(const FakeEntry& entry)
{
    FakeObject* table = platform().objects.make(FakeObject::kDictionary, entry.name + " properties");
    for (const auto& [key, value] : entry.properties) {
        FakeObject* made = platform().objects.make(value, entry.name + "." + key);
        ++made->inner;
        table->entries[key] = made;
    }
    return table;
}

void consume(CFDictionaryRef matching)
{
    if (matching != nullptr) {
        platform().objects.release(objectOf(matching, "consume"));
    }
}

} // namespace

kern_return_t IOMasterPort(mach_port_t port, mach_port_t* masterPort)
{
    EXPECT_EQ(port, bootstrap_port);
    platform().log.call("IOMasterPort");
    if (platform().log.fails("IOMasterPort")) {
        return kFailure;
    }
    *masterPort = platform().registry.make("master");
    return 0;
}

kern_return_t IOObjectRetain(io_object_t object)
{
    platform().log.call("IOObjectRetain(" + nameOf(object, "IOObjectRetain") + ")");
    if (FakeRegistry::Handle* handle = object == 0 ? nullptr : platform().registry.handle(object, "IOObjectRetain")) {
        ++handle->references;
    }
    return 0;
}

kern_return_t IOObjectRelease(io_object_t object)
{
    platform().log.call("IOObjectRelease(" + nameOf(object, "IOObjectRelease") + ")");
    if (object == 0) {
        return 0;
    }
    FakeRegistry::Handle* handle = platform().registry.handle(object, "IOObjectRelease");
    if (handle == nullptr || handle->references == 0) {
        ADD_FAILURE() << "IOObjectRelease without a reference";
        return KERN_INVALID_NAME;
    }
    --handle->references;
    return 0;
}

boolean_t IOObjectConformsTo(io_object_t object, const io_name_t className)
{
    const FakeEntry* entry = entryOf(object, "IOObjectConformsTo");
    const bool conforms =
        !platform().log.fails("IOObjectConformsTo") && entry != nullptr && conformsTo(*entry, className);
    platform().log.call("IOObjectConformsTo(" + nameOf(object, "IOObjectConformsTo") + ", " + className + ") -> " +
                        (conforms ? "yes" : "no"));
    return conforms ? 1 : 0;
}

boolean_t IOObjectIsEqualTo(io_object_t object, io_object_t other)
{
    platform().log.call("IOObjectIsEqualTo(" + nameOf(object, "IOObjectIsEqualTo") + ", " +
                        nameOf(other, "IOObjectIsEqualTo") + ")");
    return !platform().log.fails("IOObjectIsEqualTo") && object == other ? 1 : 0;
}

io_object_t IOIteratorNext(io_iterator_t iterator)
{
    const std::string name = nameOf(iterator, "IOIteratorNext");
    const FakeEntry* entry = nullptr;
    if (iterator != 0 && !platform().log.fails("IOIteratorNext")) {
        entry = platform().registry.next(iterator);
    }
    platform().log.call("IOIteratorNext(" + name + ") -> " + (entry == nullptr ? "0" : entry->name));
    return entry == nullptr ? 0 : entry->handle;
}

CFMutableDictionaryRef IOServiceMatching(const char* name)
{
    platform().log.call(std::string("IOServiceMatching(") + name + ")");
    if (platform().log.fails("IOServiceMatching")) {
        return nullptr;
    }
    FakeObject* dictionary = platform().objects.make(Value(Dict{{"IOProviderClass", name}}), "matching");
    return reinterpret_cast<CFMutableDictionaryRef>(dictionary);
}

kern_return_t IOServiceGetMatchingServices(mach_port_t masterPort, CFDictionaryRef matching, io_iterator_t* existing)
{
    platform().log.call("IOServiceGetMatchingServices(" + nameOf(masterPort, "IOServiceGetMatchingServices") + ", " +
                        (matching == nullptr ? "0" : "matching") + ")");
    const bool fails = platform().log.fails("IOServiceGetMatchingServices") || matching == nullptr;
    consume(matching);
    if (fails) {
        return kFailure;
    }
    std::deque<FakeEntry*> devices = platform().registry.devices();
    *existing = devices.empty() ? 0 : platform().registry.makeIterator("present", std::move(devices));
    return 0;
}

IONotificationPortRef IONotificationPortCreate(mach_port_t masterPort)
{
    platform().log.call("IONotificationPortCreate(" + nameOf(masterPort, "IONotificationPortCreate") + ")");
    return platform().log.fails("IONotificationPortCreate") ? nullptr : platform().registry.makePort();
}

void IONotificationPortDestroy(IONotificationPortRef)
{
    ADD_FAILURE() << "a notification port is never destroyed";
}

CFRunLoopSourceRef IONotificationPortGetRunLoopSource(IONotificationPortRef port)
{
    platform().log.call("IONotificationPortGetRunLoopSource");
    if (platform().log.fails("IONotificationPortGetRunLoopSource")) {
        return nullptr;
    }
    return reinterpret_cast<CFRunLoopSourceRef>(port->source);
}

kern_return_t IOServiceAddMatchingNotification(IONotificationPortRef port, const io_name_t type,
                                               CFDictionaryRef matching, IOServiceMatchingCallback callback,
                                               void* refcon, io_iterator_t* notification)
{
    platform().log.call(std::string("IOServiceAddMatchingNotification(") + type + ", " +
                        (matching == nullptr ? "0" : "matching") + ")");
    const bool fails = platform().log.fails("IOServiceAddMatchingNotification") || matching == nullptr;
    consume(matching);
    if (fails) {
        return kFailure;
    }
    *notification = platform().registry.makeNotification(port, type, callback, refcon);
    return 0;
}

kern_return_t IORegistryEntryGetChildIterator(io_registry_entry_t number, const io_name_t plane,
                                              io_iterator_t* iterator)
{
    FakeEntry* entry = entryOf(number, "IORegistryEntryGetChildIterator");
    EXPECT_STREQ(plane, "IOService");
    platform().log.call("IORegistryEntryGetChildIterator(" + nameOf(number, "IORegistryEntryGetChildIterator") + ")");
    if (platform().log.fails("IORegistryEntryGetChildIterator") || entry == nullptr) {
        return kFailure;
    }
    *iterator = platform().registry.makeIterator(
        "children(" + entry->name + ")", std::deque<FakeEntry*>(entry->children.begin(), entry->children.end()));
    return 0;
}

kern_return_t IORegistryEntryCreateCFProperties(io_registry_entry_t number, CFMutableDictionaryRef* properties,
                                                CFAllocatorRef, IOOptionBits options)
{
    const FakeEntry* entry = entryOf(number, "IORegistryEntryCreateCFProperties");
    EXPECT_EQ(options, 0U);
    platform().log.call("IORegistryEntryCreateCFProperties(" + nameOf(number, "IORegistryEntryCreateCFProperties") +
                        ")");
    if (platform().log.fails("IORegistryEntryCreateCFProperties") || entry == nullptr) {
        return kFailure;
    }
    *properties = reinterpret_cast<CFMutableDictionaryRef>(makeTable(*entry));
    return 0;
}

CFTypeRef IORegistryEntryCreateCFProperty(io_registry_entry_t number, CFStringRef key, CFAllocatorRef,
                                          IOOptionBits options)
{
    const FakeEntry* entry = entryOf(number, "IORegistryEntryCreateCFProperty");
    const std::string name = objectOf(key, "IORegistryEntryCreateCFProperty")->text.utf8;
    EXPECT_EQ(options, 0U);
    const auto found = entry == nullptr ? Dict::const_iterator{} : entry->properties.find(name);
    const bool exists = !platform().log.fails("IORegistryEntryCreateCFProperty") && entry != nullptr &&
                        found != entry->properties.end();
    platform().log.call("IORegistryEntryCreateCFProperty(" + nameOf(number, "IORegistryEntryCreateCFProperty") + ", " +
                        name + ")" + (exists ? "" : " -> 0"));
    return exists ? platform().objects.make(readByName(name, found->second), entry->name + "." + name) : nullptr;
}
