// Asks every thermostat for its temperature over reports, and tells what it answers.
#pragma once
#include <QrxHIDManager/QrxDeviceIdentity.h>
#include <QrxHIDManager/QrxFunctions.h>
#include <QrxHIDManager/QrxHandles.h>
#include <QrxHIDManager/QrxRequests.h>
#include <QrxHIDManager/QrxRunLoop.h>

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

class Thermostats {
public:
    using Tell = std::function<void(const std::string& line)>;

    Thermostats(Tell tell, std::chrono::milliseconds interval) : _tell(std::move(tell)), _interval(interval)
    {
        _functions.onAdded([this](const Device& device) { add(device); });
        _functions.onRemoved([this](const Device& device) { remove(device); });
        _functions.getTree()->observe(0x1209, 0x0008);
    }
    ~Thermostats()
    {
        while (!_units.empty())
            remove(_units.begin()->first);
    }

private:
    using Device = mis::swizzler<QrxHIDDevice>;
    // Interface 0 has keys, which are for others.
    static constexpr int kInterface = 1;
    static constexpr unsigned kQuestion = 1, kAnswer = 2, kSettings = 3;
    struct Unit {
        std::string name;
        QrxRunLoop::Timer timer = 0;
        bool isAsked = false;
    };

    void add(const Device& device)
    {
        const QrxDeviceIdentity identity(*device);
        Unit unit{identity.getSerialNumber() + " at " + identity.getPortChain()};
        QrxDeviceFunctions::installOn(*device).onReport(
            [this, &bare = *device](const uint8_t* bytes, size_t size, int) { answer(Device(&bare), bytes, size); });
        if (const QrxOutcome outcome = QrxOpen(*device, kInterface); outcome.hasFailed())
            return _tell(outcome.getMessage());
        std::vector<uint8_t> settings;
        const QrxOutcome got = QrxGetReport(*device, QrxReportType::feature, kSettings, settings, kInterface);
        _tell(unit.name + (got.hasFailed() ? got.getMessage() : ", mode " + std::to_string(settings.back())));
        unit.timer = _loop.callEvery(_interval, [this, &bare = *device] { ask(Device(&bare)); });
        _units.emplace(device, unit);
    }

    void ask(const Device& device)
    {
        Unit& unit = _units.at(device);
        if (unit.isAsked)
            _tell(unit.name + " does not answer");
        const uint8_t question[] = {kQuestion, 't'};
        const QrxOutcome outcome = QrxSetReport(*device, QrxReportType::output, kQuestion, question, 2, kInterface);
        unit.isAsked = !outcome.hasFailed();
        if (!unit.isAsked)
            _tell(outcome.getMessage());
    }

    void answer(const Device& device, const uint8_t* bytes, size_t size)
    {
        const auto unit = _units.find(device);
        if (unit == _units.end() || size != 2 || bytes[0] != kAnswer)
            return;
        unit->second.isAsked = false;
        _tell(unit->second.name + ": " + std::to_string(bytes[1]) + " degrees");
    }

    void remove(Device device)
    {
        if (auto unit = _units.extract(device)) {
            _loop.cancel(unit.mapped().timer);
            device->close();
            _tell(unit.mapped().name + " is gone");
        }
    }

    const Tell _tell;
    const std::chrono::milliseconds _interval;
    QrxRunLoop _loop = QrxRunLoop::getCurrent();
    std::map<Device, Unit> _units;
    QrxTreeFunctions _functions{QrxDeviceTree::NewInstance()};
};
