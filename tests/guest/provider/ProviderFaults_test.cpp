/// Every call of the provider fails once in every way that it can, on the kernel's own files and report nodes.

#include "FaultSweep.h"
#include "Linux/LinuxProvider.h"
#include "NodeUser.h"
#include "RecordingSink.h"
#include "library/Plugs.h"

#include "rig_tests/Descriptors.h"
#include "support/HidrawNode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

namespace qrx::platform {
namespace {

using guest::Bytes;
using test::Fault;
using test::NodeUser;

guest::UsbIdentity identityOf(const std::string& name, std::uint16_t number)
{
    guest::UsbIdentity identity;
    identity.product = number;
    identity.productName = name;
    return identity;
}

std::vector<guest::UsbInterface> interfaces()
{
    guest::UsbInterface hid;
    hid.reportDescriptor = guest::plainDescriptor(8);
    return {hid, hid};
}

/// Two devices of two interfaces, plugged for all tellings. Their first nodes are held open besides, for the kernel is
/// deaf for a moment after the first opening of a node.
class Machine : public testing::Test {
public:
    struct Plugged {
        explicit Plugged(const std::string& name, std::uint16_t number) : device(identityOf(name, number), interfaces())
        {
            for (const guest::UsbReportType type :
                 {guest::UsbReportType::input, guest::UsbReportType::output, guest::UsbReportType::feature}) {
                device.setReport(0, type, 0, Bytes(8, static_cast<std::uint8_t>(0x40 + static_cast<int>(type))));
            }
            guest::plugWhole(device);
            beside.emplace(device.waitForNodes().at(0));
        }
        std::string name() const
        {
            const std::string path = device.sysfsPath();
            return path.substr(path.rfind('/') + 1);
        }
        guest::VhciDevice device;
        std::optional<guest::HidrawNode> beside;
    };

protected:
    static void SetUpTestSuite()
    {
        sm_First = std::make_unique<Plugged>("first", 1);
        sm_Second = std::make_unique<Plugged>("second", 2);
    }
    static void TearDownTestSuite()
    {
        sm_First.reset();
        sm_Second.reset();
        EXPECT_TRUE(guest::waitUntilBusIsEmpty());
    }

    static std::unique_ptr<Plugged> sm_First;
    static std::unique_ptr<Plugged> sm_Second;

    friend class KernelStory;
};

std::unique_ptr<Machine::Plugged> Machine::sm_First;
std::unique_ptr<Machine::Plugged> Machine::sm_Second;

class KernelStory : public test::Story {
public:
    test::FaultyCalls& calls() override { return _calls; }

protected:
    KernelStory()
    {
        // How new a node is changes what is asked about it, and all of them are to be old here.
        _calls.advance(std::chrono::hours(1));
    }

    static Machine::Plugged& first() { return *Machine::sm_First; }
    static Machine::Plugged& second() { return *Machine::sm_Second; }

    LinuxPaths paths()
    {
        LinuxPaths paths;
        paths.calls = &_calls;
        return paths;
    }
    std::vector<std::string> described() const
    {
        std::vector<std::string> devices;
        for (const auto& [key, facts] : _sink.devices()) {
            devices.push_back(test::describe(facts));
        }
        return devices;
    }

    test::FaultyCalls _calls;
    test::RecordingSink _sink;
};

class EnumerationStory : public KernelStory {
public:
    void tell(const std::optional<Fault>& fault) override
    {
        static std::vector<std::string> sm_Whole;
        const std::unique_ptr<Provider> provider = makeLinuxProvider(paths());
        provider->refresh(_sink);
        if (!fault) {
            sm_Whole = described();
            EXPECT_EQ(sm_Whole.size(), 2U);
        }
        if (isUnnoticed(fault)) {
            EXPECT_EQ(described(), sm_Whole);
        }
        provider->refresh(_sink);
        if (!isUnnoticed(fault)) { // it may have been this one
            provider->refresh(_sink);
        }
        std::size_t whole = 0;
        for (const std::string& device : described()) {
            whole += static_cast<std::size_t>(std::count(sm_Whole.begin(), sm_Whole.end(), device));
        }
        EXPECT_EQ(_sink.devices().size(), 2U);
        EXPECT_GE(whole, 1U) << "one call concerns one device";
    }
};

TEST_F(Machine, IsEnumeratedWhateverCallFails)
{
    test::sweepFaults([]() -> std::unique_ptr<test::Story> { return std::make_unique<EnumerationStory>(); },
                      {"close", "fstatfs", "getdents", "open", "read", "readlink", "stat"});
}

NodeUser::Lines undisturbed()
{
    const auto got = [](const std::string& byte) {
        std::string text = "done";
        for (int count = 0; count < 8; ++count) {
            text += " " + byte;
        }
        return text;
    };
    return {{"open", "done"},
            {"nothing", "empty"},
            {"input", "01 01 01 01 01 01 01 01, 02 02 02 02 02 02 02 02, empty"},
            {"output", "done"},
            {"feature", "done"},
            {"set input", "done"},
            {"get 2", got("43")},
            {"get 0", got("41")},
            {"get 1", got("42")}};
}

class NodeStory : public KernelStory {
public:
    NodeStory()
    {
        // How devices are found is another story.
        _provider->refresh(_sink);
        _calls.resetTrace();
    }

    void tell(const std::optional<Fault>& fault) override
    {
        NodeUser ofFirst(portOf(first()));
        NodeUser ofSecond(portOf(second()));
        const std::pair<NodeUser*, Machine::Plugged*> users[] = {{&ofFirst, &first()}, {&ofSecond, &second()}};
        for (const auto& [user, plugged] : users) {
            user->open();
            user->take("nothing");
        }
        for (const auto& [user, plugged] : users) {
            guest::sendQueued(plugged->device, 0, Bytes(8, 1));
            guest::sendQueued(plugged->device, 0, Bytes(8, 2));
            user->take("input");
            const auto restore = [&device = plugged->device](ReportType type) {
                const auto wanted = static_cast<guest::UsbReportType>(static_cast<int>(type) + 1);
                device.setReport(0, wanted, 0, Bytes(8, static_cast<std::uint8_t>(0x41 + static_cast<int>(type))));
            };
            user->request(restore);
            user->close();
        }
        judge(undisturbed(), ofFirst, ofSecond, fault);
    }

private:
    std::shared_ptr<HIDPort> portOf(const Machine::Plugged& plugged) const
    {
        return _sink.at(plugged.name()).interfaces[0].hid;
    }

    std::unique_ptr<Provider> _provider = makeLinuxProvider(paths());
};

TEST_F(Machine, ServesOneDeviceWhateverCallFailsOnTheOther)
{
    test::sweepFaults([]() -> std::unique_ptr<test::Story> { return std::make_unique<NodeStory>(); },
                      {"access", "close", "ioctl", "open", "preadv2", "readv", "write"});
}

} // namespace
} // namespace qrx::platform
