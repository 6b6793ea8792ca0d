#include "devices/PlayedDevice.h"

#include "QrxVirtualDevice.h"
#include "QrxVirtualScript.h"

#include <optional>

namespace qrxhid {

namespace {

class VirtualDevice : public PlayedDevice {
public:
    VirtualDevice(const QrxRecording& recording, const QrxVirtualScript& script) : _device(recording)
    {
        _device.setScript(script);
    }

    void plug() override { _device.plug(); }
    void unplug() override { _device.unplug(); }

    bool sendInputReport(int interfaceNumber, const std::vector<std::uint8_t>& bytes) override
    {
        return _device.sendInputReport(interfaceNumber, bytes);
    }
    std::vector<QrxSentReport> takeSentReports() override { return _device.takeSentReports(); }

    void preparePlaying(const QrxRecording& recording) override { _player.emplace(recording, _device); }
    void startPlaying(double speed) override { _player->start(speed); }
    bool isPlayed() const override { return _player->isFinished(); }

private:
    QrxVirtualDevice _device;
    std::optional<QrxRecordingPlayer> _player;
};

} // namespace

DeviceMaker deviceMaker(const std::string& faults)
{
    const QrxVirtualScript script = faults.empty() ? QrxVirtualScript() : QrxVirtualScript::readFile(faults);
    QrxVirtualDevice::setRealDevicesEnabled(false);
    return [script](const QrxRecording& recording) { return std::make_unique<VirtualDevice>(recording, script); };
}

const char* const kRecordingRemark = "";

} // namespace qrxhid
