#pragma once

#include "Provider/Provider.h"

#include <QrxRecording.h>

#include <map>
#include <string>

/// A provider of one's own, in full: a folder of recordings. A file that appears in it is a device that is plugged, one
/// that goes is a device that is pulled. Opened, an interface gives the recorded reports at once and then nothing more.
class FolderProvider final : public qrx::platform::Provider {
public:
    explicit FolderProvider(std::string folder) : _folder(std::move(folder)) {}
    ~FolderProvider() override { stopWatching(); }

    void refresh(qrx::platform::RegistrySink& sink) override;
    int startWatching(qrx::platform::RegistrySink& sink) override;
    void handleEvents(qrx::platform::RegistrySink& sink) override;
    void stopWatching() override;

private:
    const std::string _folder;
    int _inotify = -1;
    /// By file name.
    std::map<std::string, qrx::platform::DeviceKey> _published;
};
