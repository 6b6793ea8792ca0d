// What is written, and what a program may not have made.

#include "QrxRecording.h"

#include <gtest/gtest.h>

#include <iomanip>
#include <limits>
#include <locale>
#include <sstream>

namespace {

using Bytes = std::vector<std::uint8_t>;

QrxRecording recordingOf(const std::string& text)
{
    std::istringstream stream(text);
    return QrxRecording::read(stream, "made");
}

std::string textOf(const QrxRecording& recording)
{
    std::ostringstream text;
    recording.write(text);
    return text.str();
}

/// Two interfaces with an event each.
QrxRecording composite()
{
    QrxRecording made;
    made.setVendorID(0x04d8);
    made.setProductID(0x003f);
    made.setReleaseNumber(0x0110);
    made.setDeviceClass(0xef);
    made.setProductName("Both");
    made.setInterfaces({QrxRecordedInterface(0, {0x05, 0x01})
                            .setName("one")
                            .setPhysicalPath("usb-1/input0")
                            .setSubclass(1)
                            .setProtocol(2),
                        QrxRecordedInterface(200, {}).setName("two")});
    made.setEvents({{0, 1, {}}, {12'000'001, 0, {0xab, 0x0c}}});
    made.setComments({"made by hand", ""});
    return made;
}

/// Why the recording cannot be written; nothing of it must have been.
std::string refusalOf(const QrxRecording& recording)
{
    std::ostringstream text;
    try {
        recording.write(text);
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ("", text.str());
        return error.what();
    }
    EXPECT_EQ(text.str(), textOf(recordingOf(text.str())));
    return "none";
}

// Why a recording that `change` has changed is refused.
template <typename Change>
std::string refusalAfter(Change change)
{
    QrxRecording recording = composite();
    change(recording);
    return refusalOf(recording);
}

TEST(RecordingWriter, WhatIsWrittenIsReadBackUnchanged)
{
    QrxRecording composite = recordingOf("# c\n#@ vendor-name: V\n#@ product-name:\n#@ serial-number: a\\\\b\n"
                                         "D: 0\n#@ interface: 3 01 01\nR: 2 05 01\nN: one\nP: p\nI: 3 0001 0002\n"
                                         "D: 1\n#@ interface: 7 00 00\nR: 0\nN: two\nP:\nI: 3 0001 0002\n"
                                         "E: 1.0 1 aa\nD: 0\nE: 12.000001 0\n");
    std::stringstream text;
    composite.write(text);
    const QrxRecording again = QrxRecording::read(text, "again");
    std::stringstream secondText;
    again.write(secondText);
    EXPECT_EQ(text.str(), secondText.str());
    EXPECT_EQ("", again.getProductName());
    EXPECT_EQ("a\\b", again.getSerialNumber());
    EXPECT_EQ(7, again.getInterfaces()[1].getNumber());
    ASSERT_EQ(2u, again.getEvents().size());
    EXPECT_EQ(12000001u, again.getEvents()[1].getTimeUs());
    EXPECT_EQ(0u, again.getEvents()[1].getInterfaceIndex());
}

TEST(RecordingWriter, EventsWrittenOneByOneNameTheirInterfaceWhenItChanges)
{
    const QrxRecording composite = recordingOf("D: 0\nR: 1 05\nI: 3 1 2\nD: 1\nR: 1 06\nI: 3 1 2\n");
    std::stringstream text;
    std::size_t after = 1;
    composite.writeEvent(text, {0, 0, {1}}, after);
    composite.writeEvent(text, {5, 0, {2}}, after);
    composite.writeEvent(text, {6, 1, {3}}, after);
    EXPECT_EQ("D: 0\nE: 000000.000000 1 01\nE: 000000.000005 1 02\nD: 1\nE: 000000.000006 1 03\n", text.str());
}

TEST(RecordingWriter, EveryFactHasItsLine)
{
    EXPECT_EQ("# made by hand\n# \n#@ product-name: Both\n#@ release: 0110\n#@ device-class: ef 00 00\n"
              "D: 0\n#@ interface: 0 01 02\nR: 2 05 01\nN: one\nP: usb-1/input0\nI: 3 04d8 003f\n"
              "D: 1\n#@ interface: 200 00 00\nR: 0\nN: two\nP: \nI: 3 04d8 003f\n"
              "E: 000000.000000 0\nD: 0\nE: 000012.000001 2 ab 0c\n",
              textOf(composite()));
    QrxRecording single = composite();
    single.getInterfaces().pop_back();
    single.setEvents({{0, 0, {1}}});
    single.setComments({});
    single.setVendorName("V");
    single.setProductName("one");
    single.setSerialNumber("S");
    EXPECT_EQ("#@ vendor-name: V\n#@ serial-number: S\n#@ release: 0110\n#@ device-class: ef 00 00\n"
              "#@ interface: 0 01 02\nR: 2 05 01\nN: one\nP: usb-1/input0\nI: 3 04d8 003f\nE: 000000.000000 1 01\n",
              textOf(single));
}

TEST(RecordingWriter, AnInterfaceIsNamedOnlyWhereItChanges)
{
    QrxRecording made = composite();
    made.setEvents({{0, 1, {1}}, {1, 0, {2}}, {1, 0, {3}}, {2, 1, {4}}, {2, 1, {5}}});
    const std::string text = textOf(made);
    EXPECT_EQ("E: 000000.000000 1 01\nD: 0\nE: 000000.000001 1 02\nE: 000000.000001 1 03\nD: 1\n"
              "E: 000000.000002 1 04\nE: 000000.000002 1 05\n",
              text.substr(text.find("E: ")));
    made.getInterfaces().pop_back();
    std::ostringstream single;
    std::size_t after = 7;
    made.writeEvent(single, {0, 0, {1}}, after);
    EXPECT_EQ("E: 000000.000000 1 01\n", single.str()) << "there is no other interface";
}

TEST(RecordingWriter, ARecordingWithoutEventsIsWritten)
{
    QrxRecording made = composite();
    made.getEvents().clear();
    const QrxRecording again = recordingOf(textOf(made));
    EXPECT_EQ(2u, again.getInterfaces().size());
    EXPECT_EQ(0u, again.getEvents().size());
}

TEST(RecordingWriter, TheProductsNameIsLeftOutWhereTheFirstInterfaceHasIt)
{
    QrxRecording made = composite();
    made.setProductName("one");
    EXPECT_EQ(std::string::npos, textOf(made).find("product-name"));
    EXPECT_EQ("one", recordingOf(textOf(made)).getProductName());
    made.setProductName("two");
    EXPECT_EQ("two", recordingOf(textOf(made)).getProductName());
}

TEST(RecordingWriter, SmallNumbersHaveTheirZeros)
{
    QrxRecording made = composite();
    made.setDeviceClass(1);
    made.setDeviceSubclass(2);
    made.setDeviceProtocol(3);
    made.setVendorID(4);
    made.setProductID(5);
    made.setReleaseNumber(6);
    made.setBus(0x1f);
    const std::string text = textOf(made);
    for (const char* line :
         {"#@ device-class: 01 02 03\n", "#@ release: 0006\n", "I: 1f 0004 0005\n", "#@ interface: 200 00 00\n"}) {
        EXPECT_NE(std::string::npos, text.find(line)) << line << text;
    }
}

TEST(RecordingWriter, EachEventIsWrittenOutInOnePieceAtOnce)
{
    struct Pieces : std::stringbuf {
        std::streamsize xsputn(const char* text, std::streamsize count) override
        {
            pieces.emplace_back(text, static_cast<std::size_t>(count));
            return count;
        }
        int sync() override
        {
            pieces.emplace_back("flushed");
            return 0;
        }
        std::vector<std::string> pieces;
    };
    Pieces pieces;
    std::ostream text(&pieces);
    std::size_t after = 1;
    composite().writeEvent(text, {5, 0, {0xab}}, after);
    EXPECT_EQ((std::vector<std::string>{"D: 0\nE: 000000.000005 1 ab\n", "flushed"}), pieces.pieces);
}

TEST(RecordingWriter, FlagsAndLocaleOfTheStreamChangeNothing)
{
    struct Grouping : std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::locale grouping(std::locale::classic(), new Grouping);
    QrxRecording made = composite();
    made.getEvents()[1].setBytes(Bytes(1000));
    const std::string plain = textOf(made);

    const std::locale before = std::locale::global(grouping);
    std::ostringstream text;
    text << std::hex << std::showbase << std::showpos << std::uppercase << std::setfill('*') << std::setw(30);
    made.write(text);
    EXPECT_EQ(plain, text.str());
    std::ostringstream events;
    events << std::oct << std::setw(40);
    std::size_t after = 1;
    made.writeEvent(events, {1'234'567'000'000, 0, Bytes(11)}, after);
    EXPECT_EQ("D: 0\nE: 1234567.000000 11 00 00 00 00 00 00 00 00 00 00 00\n", events.str());
    std::locale::global(before);
}

TEST(RecordingWriter, NoTextCanForgeALine)
{
    const std::string forged = "x\nE: 000000.000000 1 ff\r#@ release: 9999\r\n";
    QrxRecording made = composite();
    made.setVendorName(forged).setProductName(forged).setSerialNumber(forged);
    made.getInterfaces()[0].setName(forged);
    made.getInterfaces()[1].setPhysicalPath(forged);
    made.setComments({"first", forged, "last"});
    const std::string text = textOf(made);
    EXPECT_NE(std::string::npos, text.find("\nN: x E: 000000.000000 1 ff #@ release: 9999  \n"
                                           "#@ interface-name: x\\nE: 000000.000000 1 ff\\r#@ release: 9999\\r\\n\n"))
        << text;
    EXPECT_EQ(std::string::npos, text.find('\r'));
    const QrxRecording again = recordingOf(text);
    EXPECT_EQ(2u, again.getEvents().size());
    EXPECT_EQ(0x0110, again.getReleaseNumber());
    EXPECT_EQ(forged, again.getVendorName());
    EXPECT_EQ(forged, again.getProductName());
    EXPECT_EQ(forged, again.getSerialNumber());
    EXPECT_EQ(forged, again.getInterfaces()[0].getName());
    EXPECT_EQ(forged, again.getInterfaces()[1].getPhysicalPath());
    EXPECT_EQ(made.getComments(), again.getComments());
}

TEST(RecordingWriter, TextsComeBackAsTheyAre)
{
    for (const std::string text : {"", " ", "\t", " a", "a ", "\ta \t", "  ", "\\", "\\n", "a\\", "@ release: 9999",
                                   "#", "a\tb", "D: 1", "\n", "\r"}) {
        QrxRecording made = composite();
        made.setVendorName(text).setProductName(text).setSerialNumber(text);
        made.getInterfaces()[0].setName(text).setPhysicalPath(text);
        made.getInterfaces()[1].setName(text);
        made.setComments({text});
        const QrxRecording again = recordingOf(textOf(made));
        EXPECT_EQ(text, again.getVendorName());
        EXPECT_EQ(text, again.getProductName());
        EXPECT_EQ(text, again.getSerialNumber());
        EXPECT_EQ(text, again.getInterfaces()[0].getName());
        EXPECT_EQ(text, again.getInterfaces()[1].getName());
        EXPECT_EQ(text, again.getInterfaces()[0].getPhysicalPath());
        EXPECT_EQ(made.getComments(), again.getComments());
        EXPECT_EQ(0x0110, again.getReleaseNumber());
    }
}

TEST(RecordingWriter, WhatCouldNotBeReadIsNotWritten)
{
    using R = QrxRecording;
    EXPECT_EQ("none", refusalOf(composite()));
    EXPECT_EQ("a recording: no interface", refusalOf({}));
    EXPECT_EQ("a recording: the interface number 256 is not in 0..255",
              refusalAfter([](R& made) { made.getInterfaces()[1].setNumber(256); }));
    EXPECT_EQ("a recording: the interface number -1 is not in 0..255",
              refusalAfter([](R& made) { made.getInterfaces()[0].setNumber(-1); }));
    EXPECT_EQ("a recording: two interfaces have the number 200",
              refusalAfter([](R& made) { made.getInterfaces()[0].setNumber(200); }));
    EXPECT_EQ("a recording: an event of interface index 2, and there are 2 interfaces",
              refusalAfter([](R& made) { made.getEvents()[1].setInterfaceIndex(2); }));
    EXPECT_EQ("a recording: time runs backwards, from 12000001 to 12000000 microseconds", refusalAfter([](R& made) {
                  made.getEvents().push_back({12'000'000, 0, {}});
              }));
    EXPECT_EQ("a recording: an event after more than 1000000000000 seconds",
              refusalAfter([](R& made) { made.getEvents()[1].setTimeUs(1'000'000'000'001'000'000); }));
    EXPECT_EQ("a recording: an event of 65536 bytes, and 65535 are the most",
              refusalAfter([](R& made) { made.getEvents()[1].setBytes(Bytes(65536)); }));
    EXPECT_EQ("a recording: a report descriptor of 65536 bytes, and 65535 are the most",
              refusalAfter([](R& made) { made.getInterfaces()[1].setReportDescriptor(Bytes(65536)); }));
}

TEST(RecordingWriter, ATextThatCouldNotBeReadIsNotWritten)
{
    using R = QrxRecording;
    // Line ends take two characters each when they are written.
    const std::string longest(65535, '\n');
    const std::string tooLong = longest + "n";
    const std::string reason = " of 65536 bytes, and 65535 are the most";
    EXPECT_EQ("none", refusalAfter([&](R& made) {
                  made.setVendorName(longest).setProductName(longest).setSerialNumber(longest);
                  made.getInterfaces()[0].setName(longest);
                  made.getInterfaces()[1].setPhysicalPath(longest);
                  made.setComments({longest});
              }));
    EXPECT_EQ("a recording: a name" + reason, refusalAfter([&](R& made) { made.setVendorName(tooLong); }));
    EXPECT_EQ("a recording: a name" + reason, refusalAfter([&](R& made) { made.setProductName(tooLong); }));
    EXPECT_EQ("a recording: a name" + reason, refusalAfter([&](R& made) { made.setSerialNumber(tooLong); }));
    EXPECT_EQ("a recording: a comment" + reason, refusalAfter([&](R& made) { made.getComments().push_back(tooLong); }));
    EXPECT_EQ("a recording: an interface's name" + reason,
              refusalAfter([&](R& made) { made.getInterfaces()[1].setName(tooLong); }));
    EXPECT_EQ("a recording: a physical path" + reason,
              refusalAfter([&](R& made) { made.getInterfaces()[1].setPhysicalPath(tooLong); }));
}

TEST(RecordingWriter, TheGreatestRecordingIsWritten)
{
    QrxRecording made = composite();
    made.getInterfaces()[1].setReportDescriptor(Bytes(65535, 0xff));
    made.setEvents({{5, 1, {}}, {5, 0, Bytes(65535, 0xff)}, {1'000'000'000'000'999'999, 0, {}}});
    for (int number = 1; number < 256; ++number) {
        if (number != 200) {
            made.getInterfaces().push_back({number, {}});
        }
    }
    ASSERT_EQ(256u, made.getInterfaces().size());
    EXPECT_EQ("none", refusalOf(made));
}

TEST(RecordingWriter, AnEventThatCouldNotBeReadIsNotWritten)
{
    const QrxRecording made = composite();
    std::ostringstream text;
    std::size_t after = 1;
    EXPECT_THROW(made.writeEvent(text, {0, 2, {}}, after), std::invalid_argument);
    EXPECT_THROW(made.writeEvent(text, {0, std::numeric_limits<std::size_t>::max(), {}}, after), std::invalid_argument);
    EXPECT_THROW(made.writeEvent(text, {0, 0, Bytes(65536)}, after), std::invalid_argument);
    EXPECT_EQ("", text.str());
    EXPECT_EQ(1u, after);
}

} // namespace
