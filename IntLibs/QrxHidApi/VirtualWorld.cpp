#include "VirtualWorld.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <stdexcept>
#include <utility>

namespace qrx::hidapi {

namespace {

/// 31 years. What is farther away is as good as never, and its sum with the present time must not overflow the clock's
/// 64 bits of nanoseconds.
constexpr std::uint64_t kNeverUs = 1'000'000'000'000'000;

} // namespace

VirtualWorld::Player::Player(QrxRecording recording) : _recording(std::move(recording)), _device(_recording)
{
    // Nobody asks for what was sent, so it is not kept.
    _device.setSentReportHandler([](const QrxSentReport&) { return true; });
}

VirtualWorld::Player::~Player()
{
    Schedule::ofProcess().forget(this);
}

bool VirtualWorld::Player::isOpen() const
{
    return std::ranges::any_of(_recording.getInterfaces(),
                               [&](const auto& interface) { return _device.getOpenCount(interface.getNumber()) != 0; });
}

void VirtualWorld::Player::startIfOpen()
{
    // Input that nobody listens to is lost, as with a real device, so a recording begins with its first reader.
    if (!_isStarted && isOpen()) {
        _isStarted = true;
        _start = Schedule::ofProcess().now();
        planNext();
    }
}

void VirtualWorld::Player::planNext()
{
    if (_next == _recording.getEvents().size()) {
        return;
    }
    // Times count from the first event, since recorders begin their clocks when they please.
    const std::uint64_t sinceFirst =
        _recording.getEvents()[_next].getTimeUs() - _recording.getEvents().front().getTimeUs();
    Schedule::ofProcess().add(_start + std::chrono::microseconds(std::min(sinceFirst, kNeverUs)), this,
                              [this] { sendNext(); });
}

void VirtualWorld::Player::sendNext()
{
    // The schedule calls one function at a time, and this plans its own successor, so `_next` needs no lock.
    const QrxRecordedEvent& event = _recording.getEvents()[_next];
    _device.sendInputReport(_recording.getInterfaces()[event.getInterfaceIndex()].getNumber(), event.getBytes());
    ++_next;
    planNext();
}

VirtualWorld::VirtualWorld(const std::vector<std::string>& recordings, const std::vector<std::string>& scripts)
{
    if (scripts.size() > 1 && scripts.size() != recordings.size()) {
        throw std::invalid_argument("there are " + std::to_string(recordings.size()) + " recordings and " +
                                    std::to_string(scripts.size()) + " files of faults");
    }
    for (std::size_t index = 0; index < recordings.size(); ++index) {
        Player& player = _players.emplace_back(QrxRecording::readFile(recordings[index]));
        if (!scripts.empty()) {
            player.obey(QrxVirtualScript::readFile(scripts[scripts.size() > 1 ? index : 0]));
        }
    }
    // Nothing is plugged before every file was read: a failure leaves no device behind.
    for (Player& player : _players) {
        player.plug();
    }
}

void VirtualWorld::startOpened()
{
    const std::scoped_lock lock(_mutex);
    for (Player& player : _players) {
        player.startIfOpen();
    }
}

} // namespace qrx::hidapi
