#pragma once

#include "Provider/Provider.h"

#include <vector>

/// A registry that keeps what providers tell it, in place of the real one.
class RecordingRegistry final : public qrx::platform::RegistrySink {
public:
    struct Published {
        qrx::platform::DeviceKey key;
        qrx::platform::DeviceFacts facts;
    };

    /// The one of this program, empty at the start of each test that asks for it so.
    static RecordingRegistry& emptied();
    static RecordingRegistry& shared();

    qrx::platform::DeviceKey publish(qrx::platform::DeviceFacts device) override;
    void terminate(qrx::platform::DeviceKey device) override;

    std::vector<Published> published;
    std::vector<qrx::platform::DeviceKey> terminated;
    bool providersEnabled = true;

private:
    qrx::platform::DeviceKey _lastKey = 0;
};
