#include "QrxRecording.h"

#include <gtest/gtest.h>

#include <sstream>

namespace {

using Bytes = std::vector<std::uint8_t>;

const char* const kMouse = "# a mouse\n"
                           "R: 3 05 01 09\n"
                           "N: ACME Mouse\n"
                           "P: usb-1/input0\n"
                           "I: 3 04d8 003f\n"
                           "E: 000000.000000 2 00 01\n"
                           "E: 000001.250000 2 00 ff\n";

QrxRecording recordingOf(const std::string& text)
{
    std::istringstream stream(text);
    return QrxRecording::read(stream, "mouse.hid");
}

std::string faultOf(const std::string& text)
{
    try {
        recordingOf(text);
    } catch (const QrxRecordingError& error) {
        return error.what();
    }
    return "no fault";
}

std::string withLine(const std::string& line)
{
    return std::string(kMouse) + line + "\n";
}

TEST(QrxRecording, ReadsIdentityDescriptorAndEvents)
{
    const QrxRecording mouse = recordingOf(kMouse);
    EXPECT_EQ(3, mouse.bus);
    EXPECT_EQ(0x04d8, mouse.vendorID);
    EXPECT_EQ(0x003f, mouse.productID);
    EXPECT_EQ("ACME Mouse", mouse.productName);
    EXPECT_EQ("", mouse.vendorName);
    EXPECT_EQ(std::vector<std::string>{"a mouse"}, mouse.comments);
    ASSERT_EQ(1u, mouse.interfaces.size());
    EXPECT_EQ(0, mouse.interfaces[0].number);
    EXPECT_EQ((Bytes{0x05, 0x01, 0x09}), mouse.interfaces[0].reportDescriptor);
    EXPECT_EQ("usb-1/input0", mouse.interfaces[0].physicalPath);
    ASSERT_EQ(2u, mouse.events.size());
    EXPECT_EQ(1250000u, mouse.events[1].timeUs);
    EXPECT_EQ((Bytes{0x00, 0xff}), mouse.events[1].bytes);
}

TEST(QrxRecording, LinesOfSeveralInterfacesAreToldApartByTheirNumberLine)
{
    const QrxRecording composite = recordingOf("D: 0\nR: 1 05\nN: one\nP:\nI: 3 0001 0002\n"
                                               "D: 1\nR: 1 06\nN: two\nP:\nI: 3 0001 0002\n"
                                               "D: 0\nE: 0.0 1 aa\nD: 1\nE: 0.5 1 bb\n");
    ASSERT_EQ(2u, composite.interfaces.size());
    EXPECT_EQ(1, composite.interfaces[1].number);
    EXPECT_EQ("one", composite.productName);
    ASSERT_EQ(2u, composite.events.size());
    EXPECT_EQ(0u, composite.events[0].interfaceIndex);
    EXPECT_EQ(1u, composite.events[1].interfaceIndex);
    EXPECT_EQ(500000u, composite.events[1].timeUs);
}

TEST(QrxRecording, TheNotesOfOurOwnNameStringsAndInterfaces)
{
    const QrxRecording noted = recordingOf(std::string("#@ vendor-name: Ærø \\\\ Works\n#@ product-name: 北京\n"
                                                       "#@ serial-number: 1\\n2\n#@ release: 0110\n"
                                                       "#@ device-class: ef 02 01\n#@ interface: 5 01 02\n"
                                                       "#@ of-a-later-version: anything\n") +
                                           kMouse);
    EXPECT_EQ("Ærø \\ Works", noted.vendorName);
    EXPECT_EQ("北京", noted.productName);
    EXPECT_EQ("1\n2", noted.serialNumber);
    EXPECT_EQ(0x0110, noted.releaseNumber);
    EXPECT_EQ(0xef, noted.deviceClass);
    EXPECT_EQ(2, noted.deviceSubclass);
    EXPECT_EQ(1, noted.deviceProtocol);
    EXPECT_EQ(5, noted.interfaces[0].number);
    EXPECT_EQ(1, noted.interfaces[0].interfaceSubclass);
    EXPECT_EQ(2, noted.interfaces[0].interfaceProtocol);
}

TEST(QrxRecording, WhatIsWrittenIsReadBackUnchanged)
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
    EXPECT_EQ("", again.productName);
    EXPECT_EQ("a\\b", again.serialNumber);
    EXPECT_EQ(7, again.interfaces[1].number);
    ASSERT_EQ(2u, again.events.size());
    EXPECT_EQ(12000001u, again.events[1].timeUs);
    EXPECT_EQ(0u, again.events[1].interfaceIndex);
}

TEST(QrxRecording, EventsWrittenOneByOneNameTheirInterfaceWhenItChanges)
{
    const QrxRecording composite = recordingOf("D: 0\nR: 1 05\nI: 3 1 2\nD: 1\nR: 1 06\nI: 3 1 2\n");
    std::stringstream text;
    std::size_t after = 1;
    composite.writeEvent(text, {0, 0, {1}}, after);
    composite.writeEvent(text, {5, 0, {2}}, after);
    composite.writeEvent(text, {6, 1, {3}}, after);
    EXPECT_EQ("D: 0\nE: 000000.000000 1 01\nE: 000000.000005 1 02\nD: 1\nE: 000000.000006 1 03\n", text.str());
}

TEST(QrxRecording, EveryFaultNamesFileLineAndReason)
{
    EXPECT_EQ("mouse.hid:8: E: states 8 bytes, but 3 follow", faultOf(withLine("E: 2.0 8 00 00 04")));
    EXPECT_EQ("mouse.hid:8: E: states 2 bytes, but 3 follow", faultOf(withLine("E: 2.0 2 00 00 04")));
    EXPECT_EQ("mouse.hid:8: time runs backwards", faultOf(withLine("E: 1.0 1 00")));
    EXPECT_EQ("mouse.hid:8: E: needs a time in seconds.microseconds, not \"-1.0\"", faultOf(withLine("E: -1.0 1 00")));
    EXPECT_EQ("mouse.hid:8: E: needs bytes of two hexadecimal digits, not \"zz\"", faultOf(withLine("E: 2.0 1 zz")));
    EXPECT_EQ("mouse.hid:8: E: needs bytes of two hexadecimal digits, not \"001\"", faultOf(withLine("E: 2.0 1 001")));
    EXPECT_EQ("mouse.hid:8: E: needs a length of at most 65535 bytes", faultOf(withLine("E: 2.0 99999 00")));
    EXPECT_EQ("mouse.hid:8: E: needs a length of at most 65535 bytes", faultOf(withLine("E: 2.0")));
    EXPECT_EQ("mouse.hid:8: D: needs a number, not \"x\"", faultOf(withLine("D: x")));
    EXPECT_EQ("mouse.hid:9: an event before the R: line of its interface", faultOf(withLine("D: 3\nE: 2.0 1 00")));
    EXPECT_EQ("mouse.hid:8: unknown line \"X:\"; known are D: R: N: P: I: E:", faultOf(withLine("X: 1")));
    EXPECT_EQ("mouse.hid:8: neither a comment nor one of the lines D: R: N: P: I: E:, but \"hello\"",
              faultOf(withLine("hello")));
    EXPECT_EQ("mouse.hid:8: a second R: line for the same interface; put a D: line before it if it is another one's",
              faultOf(withLine("R: 1 05")));
    EXPECT_EQ("mouse.hid:8: all interfaces of a recording belong to one device, but this I: line names another; "
              "put each device into a file of its own",
              faultOf(withLine("I: 3 04d8 0040")));
    EXPECT_EQ("mouse.hid:8: I: needs bus, vendor ID and product ID in hexadecimal, not \"3 04d8\"",
              faultOf(withLine("I: 3 04d8")));
    EXPECT_EQ("mouse.hid: no R: line with a report descriptor", faultOf("N: kbd\nI: 3 1 2\n"));
    EXPECT_EQ("mouse.hid: no R: line with a report descriptor", faultOf(""));
    EXPECT_EQ("mouse.hid: no I: line with bus, vendor ID and product ID", faultOf("R: 1 05\n"));
    EXPECT_EQ("mouse.hid: two interfaces have the number 4",
              faultOf("I: 3 1 2\nD: 0\n#@ interface: 4 0 0\nR: 1 05\nD: 1\n#@ interface: 4 0 0\nR: 1 06\n"));
}

TEST(QrxRecording, AnyPrefixOfARecordingIsReadOrRefusedCleanly)
{
    const std::string text = std::string("#@ release: 0110\nD: 0\n") + kMouse;
    for (std::size_t length = 0; length <= text.size(); ++length) {
        try {
            const QrxRecording recording = recordingOf(text.substr(0, length));
            EXPECT_EQ(1u, recording.interfaces.size());
        } catch (const QrxRecordingError&) {
        }
    }
}

TEST(QrxRecording, AFileThatIsNotThereIsAFaultWithItsName)
{
    try {
        QrxRecording::readFile("/nowhere/mouse.hid");
        FAIL() << "it was read";
    } catch (const QrxRecordingError& error) {
        EXPECT_STREQ("/nowhere/mouse.hid: cannot be opened: No such file or directory", error.what());
        EXPECT_EQ(0u, error.line());
    }
}

} // namespace
