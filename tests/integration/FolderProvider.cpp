#include "FolderProvider.h"

#include <array>
#include <cstddef>
#include <filesystem>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

using namespace qrx::platform;

namespace {

/// The recorded reports of one interface, one after the other.
class RecordedChannel final : public HIDChannel {
public:
    RecordedChannel(std::shared_ptr<const QrxRecording> recording, std::size_t interface)
        : _recording(std::move(recording)), _interface(interface), _event(::eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK))
    {
    }
    ~RecordedChannel() override { ::close(_event); }

    int descriptor() const override { return _event; }

    Next takeReport(std::span<const std::uint8_t>& report) override
    {
        while (_next < _recording->getEvents().size()) {
            const QrxRecordedEvent& event = _recording->getEvents()[_next++];
            if (event.getInterfaceIndex() == _interface) {
                report = event.getBytes();
                return Next::report;
            }
        }
        eventfd_t count = 0;
        ::eventfd_read(_event, &count);
        return Next::empty;
    }

    bool hasFetchedReports() const override { return false; }

    Status setReport(ReportType, std::uint32_t, std::span<const std::uint8_t>) override { return Status::unsupported; }
    Status getReport(ReportType, std::uint32_t, std::span<std::uint8_t>, std::size_t&) override
    {
        return Status::unsupported;
    }

private:
    const std::shared_ptr<const QrxRecording> _recording;
    const std::size_t _interface;
    const int _event;
    std::size_t _next = 0;
};

class RecordedPort final : public HIDPort {
public:
    RecordedPort(std::shared_ptr<const QrxRecording> recording, std::size_t interface)
        : _recording(std::move(recording)), _interface(interface)
    {
    }

    Status open(std::unique_ptr<HIDChannel>& channel) override
    {
        channel = std::make_unique<RecordedChannel>(_recording, _interface);
        return channel->descriptor() >= 0 ? Status::success : Status::noResources;
    }

private:
    const std::shared_ptr<const QrxRecording> _recording;
    const std::size_t _interface;
};

DeviceFacts factsOf(const std::shared_ptr<const QrxRecording>& recording, const std::string& name)
{
    DeviceFacts facts;
    facts.vendorID = recording->getVendorID();
    facts.productID = recording->getProductID();
    facts.releaseNumber = recording->getReleaseNumber();
    facts.productName = recording->getInterfaces().front().getName();
    facts.place = name;
    for (std::size_t index = 0; index < recording->getInterfaces().size(); ++index) {
        const QrxRecordedInterface& recorded = recording->getInterfaces()[index];
        InterfaceFacts interface;
        interface.number = static_cast<std::uint8_t>(recorded.getNumber());
        interface.interfaceClass = kHIDClass;
        interface.hid = std::make_shared<RecordedPort>(recording, index);
        interface.reportDescriptor = recorded.getReportDescriptor();
        facts.interfaces.push_back(std::move(interface));
    }
    return facts;
}

} // namespace

void FolderProvider::refresh(RegistrySink& sink)
{
    std::map<std::string, DeviceKey> present;
    for (const auto& file : std::filesystem::directory_iterator(_folder)) {
        const std::string name = file.path().filename();
        const auto known = _published.find(name);
        if (known != _published.end()) {
            present.insert(*known);
            continue;
        }
        const auto recording = std::make_shared<const QrxRecording>(QrxRecording::readFile(file.path()));
        present[name] = sink.publish(factsOf(recording, name));
    }
    _published.swap(present);
    for (const auto& [name, key] : present) {
        if (!_published.contains(name)) {
            sink.terminate(key);
        }
    }
}

int FolderProvider::startWatching(RegistrySink& sink)
{
    _inotify = ::inotify_init1(IN_CLOEXEC | IN_NONBLOCK);
    // Files are whole when they are moved into the folder.
    if (_inotify >= 0 && ::inotify_add_watch(_inotify, _folder.c_str(), IN_MOVED_TO | IN_DELETE) < 0) {
        stopWatching();
    }
    refresh(sink);
    return _inotify;
}

void FolderProvider::handleEvents(RegistrySink& sink)
{
    std::array<std::byte, 4096> events;
    while (::read(_inotify, events.data(), events.size()) > 0) {
    }
    refresh(sink);
}

void FolderProvider::stopWatching()
{
    if (_inotify >= 0) {
        ::close(std::exchange(_inotify, -1));
    }
}
