/// What becomes of the rules that `qrxhid rule` prints, under udevd.

#include "AccessFixture.h"
#include "Seat.h"

#include "support/Udevd.h"

#include <unistd.h>

using namespace qrx::guest;

namespace {

constexpr const char* kOfDevice = "/etc/udev/rules.d/70-qrxhid-1234-00a1.rules";
constexpr const char* kOfInterface = "/etc/udev/rules.d/70-qrxhid-1234-00a1-2.rules";

class Rule : public TwoDevices {
protected:
    ~Rule() override
    {
        ::unlink(kOfDevice);
        ::unlink(kOfInterface);
    }

    /// As the printed file itself says it is installed.
    static void install(const std::string& command, const std::string& file)
    {
        const ToolRun printed = runShell(command);
        EXPECT_EQ(printed.status, 0);
        for (const std::string& line :
             {"# Install it as " + file + ";", std::string("#   sudo udevadm control --reload\n"),
              std::string("#   sudo udevadm trigger --subsystem-match=hidraw\n")}) {
            EXPECT_NE(printed.text.find(line), std::string::npos) << line << printed.text;
        }
        const ToolRun installed = runShell(command + " | sudo tee " + file +
                                           " >/dev/null && sudo udevadm control --reload && "
                                           "sudo udevadm trigger --subsystem-match=hidraw");
        EXPECT_EQ(installed, (ToolRun{0, ""}));
    }
    /// "+" for each node that is tagged and may be opened, "-" for each that is neither.
    std::string access() const
    {
        std::string text;
        for (const std::string& node : {compositeNodes.at(0), compositeNodes.at(1), plainNode}) {
            const bool tagged = isTagged(node);
            text += tagged && mayOpen(node) ? "+" : tagged || mayOpen(node) ? "?" : "-";
        }
        return text;
    }
    /// It becomes that, and stays so.
    void expectAccess(const std::string& expected) const
    {
        EXPECT_TRUE(waitUntil([&] { return access() == expected; }));
        applyAllRules();
        EXPECT_EQ(access(), expected);
    }

    Udevd udevd;
    Seat seat;
};

} // namespace

TEST_F(Rule, GivesTheNodesOfTheNamedDeviceToWhoeverSitsAtTheMachineAndNoOther)
{
    expectAccess("---");
    install("qrxhid rule 1234:00a1", kOfDevice);
    expectAccess("++-");
    // Again, in another order.
    pullWhole(composite);
    pullWhole(plain);
    plugWhole(plain);
    plugWhole(composite);
    compositeNodes = composite.waitForNodes();
    plainNode = plain.waitForNodes().at(0);
    expectAccess("++-");
}

TEST_F(Rule, OfAnInterfaceGivesOnlyItsNode)
{
    install("qrxhid rule 1234:A1 --interface 2", kOfInterface);
    expectAccess("-+-");
    const ToolRun doctor = askDoctor({"1234:00a1"});
    EXPECT_EQ(doctor.status, 4);
    EXPECT_TRUE(doctor.text.starts_with("1234:00a1  Composite  at " + placeOf(composite) + ": usable in part\n"))
        << doctor.text;
}
