// hidapi in the three ways in which programs read with it: with a timeout of 0, non-blocking, and blocking. Each reads
// one report per call. The blocking way can only stop by counting, so it is told how many reports wait.

#include "Drain.h"

#include <hidapi.h>

#include <stdexcept>

namespace {

enum class Way { timeout, nonBlocking, blocking };

class HidapiDrain final : public Drain {
public:
    HidapiDrain(const std::string& node, Way way);
    ~HidapiDrain() override { hid_close(_device); }
    HidapiDrain(const HidapiDrain&) = delete;
    HidapiDrain& operator=(const HidapiDrain&) = delete;

    std::string name() const override;
    void run(std::size_t expected) override;

private:
    int read();

    hid_device* _device;
    const Way _way;
    // One byte more than the longest report, so that one that is too long is noticed.
    unsigned char _bytes[kMostBytes + 1];
};

HidapiDrain::HidapiDrain(const std::string& node, Way way) : _device(hid_open_path(node.c_str())), _way(way)
{
    if (_device == nullptr) {
        throw std::runtime_error("hidapi does not open " + node);
    }
    hid_set_nonblocking(_device, way == Way::nonBlocking ? 1 : 0);
}

std::string HidapiDrain::name() const
{
    switch (_way) {
    case Way::timeout:
        return "hidapi_timeout";
    case Way::nonBlocking:
        return "hidapi_nonblocking";
    case Way::blocking:
        break;
    }
    return "hidapi_blocking";
}

int HidapiDrain::read()
{
    return _way == Way::timeout ? hid_read_timeout(_device, _bytes, sizeof _bytes, 0)
                                : hid_read(_device, _bytes, sizeof _bytes);
}

void HidapiDrain::run(std::size_t expected)
{
    // The other two ways read until nothing is left, which costs one call more, as it does in programs.
    for (std::size_t left = expected; _way != Way::blocking || left > 0; --left) {
        const int size = read();
        if (size <= 0) {
            return;
        }
        take(_bytes, static_cast<std::size_t>(size));
    }
}

} // namespace

std::vector<std::unique_ptr<Drain>> makeHidapiDrains(const std::string& node)
{
    std::vector<std::unique_ptr<Drain>> drains;
    for (const Way way : {Way::timeout, Way::nonBlocking, Way::blocking}) {
        drains.push_back(std::make_unique<HidapiDrain>(node, way));
    }
    return drains;
}
