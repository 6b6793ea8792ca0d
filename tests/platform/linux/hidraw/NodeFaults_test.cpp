/// Every call on open report nodes fails once in every way that it can.

#include "NodeUser.h"
#include "ProviderStory.h"

#include <gtest/gtest.h>

namespace qrx::platform {
namespace {

using test::Bytes;
using test::Fault;
using test::NodeUser;
using test::ProviderStory;

NodeUser::Lines undisturbed()
{
    const std::string got = "done 07 08";
    return {{"open", "done"},
            {"nothing", "empty"},
            {"input", "01 01 01 01 01 01 01 01, 02 02 02 02 02 02 02 02, empty"},
            {"output", "done"},
            {"feature", "done"},
            {"set input", "done"},
            {"get 2", got},
            {"get 0", got},
            {"get 1", got},
            {"device", "write 00 01 02 03 04 05 06 07 08\n"
                       "ioctl 06 00 01 02 03 04 05 06 07 08\n"
                       "ioctl 09 00 01 02 03 04 05 06 07 08\n"
                       "ioctl 07 00 00 00 00 00 00 00 00 00\n"
                       "ioctl 0a 00 00 00 00 00 00 00 00 00\n"
                       "ioctl 0c 00 00 00 00 00 00 00 00 00\n"},
            {"last input", "03 03 03 03 03 03 03 03, gone"}};
}

/// Two devices are opened, read, written to, asked, and pulled.
class NodeStory : public ProviderStory {
public:
    NodeStory()
    {
        _tree.plug(composite("1-1", 0));
        // How devices are found is another story.
        _provider->refresh(_sink);
        _calls.resetTrace();
    }

    void tell(const std::optional<Fault>& fault) override
    {
        NodeUser first(portOf("1-1"));
        NodeUser second(portOf("1-2"));
        const std::shared_ptr<HIDPort> port = portOf("1-1");
        const std::pair<NodeUser*, int> users[] = {{&first, 0}, {&second, 2}};
        for (const auto& [user, hidraw] : users) {
            user->open();
            user->take("nothing");
        }
        for (const auto& [user, hidraw] : users) {
            use(*user, hidraw);
        }
        for (const auto& [user, hidraw] : users) {
            _nodes.queue(hidraw, Bytes(8, 3));
            _nodes.unplug(hidraw);
            _tree.unplug(user == &first ? "1-1" : "1-2");
            user->take("last input", true);
            user->close();
        }
        judge(undisturbed(), first, second, fault);
        _provider->refresh(_sink);
        if (!isUnnoticed(fault)) {
            _provider->refresh(_sink);
        }
        EXPECT_EQ(places(), Names{});
        std::unique_ptr<HIDChannel> channel;
        EXPECT_EQ(port->open(channel), Status::notAttached);
        _provider.reset();
    }

private:
    std::shared_ptr<HIDPort> portOf(const std::string& place) const { return _sink.at(place).interfaces[0].hid; }

    void use(NodeUser& user, int hidraw)
    {
        _nodes.queue(hidraw, Bytes(8, 1));
        _nodes.queue(hidraw, Bytes(8, 2));
        user.take("input");
        user.request([&](ReportType) { _nodes.answer(hidraw, {0, 7, 8}); });
        user.note("device", _nodes.takeRequests(hidraw));
    }

    std::unique_ptr<Provider> _provider = makeLinuxProvider(paths());
};

TEST(FaultSweep, OfOpenNodesConcernsOneDeviceAndOneRequest)
{
    test::sweepFaults([]() -> std::unique_ptr<test::Story> { return std::make_unique<NodeStory>(); },
                      {"access", "close", "getdents", "ioctl", "open", "preadv2", "readv", "write"});
}

} // namespace
} // namespace qrx::platform
