// hidapi, and our library of its interface, in the three ways in which programs read: with a timeout of 0, non-blocking,
// and blocking. Each reads one report per call. The blocking way can only stop by counting, so it is told how many
// reports wait.

#include "Drain.h"

#include "hidapi/Functions.h"

#include <stdexcept>
#include <utility>

using qrx::guest::Functions;
using qrx::guest::ours;
using qrx::guest::peer;

namespace {

enum class Way { timeout, nonBlocking, blocking };

class HidapiDrain final : public Drain {
public:
    HidapiDrain(const Functions& api, std::string name, const std::string& node, Way way);
    ~HidapiDrain() override { _api.close(_device); }
    HidapiDrain(const HidapiDrain&) = delete;
    HidapiDrain& operator=(const HidapiDrain&) = delete;

    std::string name() const override;
    void run(std::size_t expected) override;

private:
    int read();

    const Functions& _api;
    const std::string _name;
    hid_device* _device;
    const Way _way;
    // One byte more than the longest report, so that one that is too long is noticed.
    unsigned char _bytes[kMostBytes + 1];
};

HidapiDrain::HidapiDrain(const Functions& api, std::string name, const std::string& node, Way way)
    : _api(api), _name(std::move(name)), _device(api.openPath(node.c_str())), _way(way)
{
    if (_device == nullptr) {
        throw std::runtime_error(_name + " does not open " + node);
    }
    _api.setNonblocking(_device, way == Way::nonBlocking ? 1 : 0);
}

std::string HidapiDrain::name() const
{
    switch (_way) {
    case Way::timeout:
        return _name + "_timeout";
    case Way::nonBlocking:
        return _name + "_nonblocking";
    case Way::blocking:
        break;
    }
    return _name + "_blocking";
}

int HidapiDrain::read()
{
    return _way == Way::timeout ? _api.readTimeout(_device, _bytes, sizeof _bytes, 0)
                                : _api.read(_device, _bytes, sizeof _bytes);
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
        drains.push_back(std::make_unique<HidapiDrain>(peer(), "hidapi", node, way));
        drains.push_back(std::make_unique<HidapiDrain>(ours(), "interface", node, way));
    }
    return drains;
}
