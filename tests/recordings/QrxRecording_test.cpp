#include "QrxRecording.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sstream>
#include <streambuf>

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
    EXPECT_EQ(3, mouse.getBus());
    EXPECT_EQ(0x04d8, mouse.getVendorID());
    EXPECT_EQ(0x003f, mouse.getProductID());
    EXPECT_EQ("ACME Mouse", mouse.getProductName());
    EXPECT_EQ("", mouse.getVendorName());
    EXPECT_EQ(std::vector<std::string>{"a mouse"}, mouse.getComments());
    ASSERT_EQ(1u, mouse.getInterfaces().size());
    EXPECT_EQ(0, mouse.getInterfaces()[0].getNumber());
    EXPECT_EQ((Bytes{0x05, 0x01, 0x09}), mouse.getInterfaces()[0].getReportDescriptor());
    EXPECT_EQ("usb-1/input0", mouse.getInterfaces()[0].getPhysicalPath());
    ASSERT_EQ(2u, mouse.getEvents().size());
    EXPECT_EQ(1250000u, mouse.getEvents()[1].getTimeUs());
    EXPECT_EQ((Bytes{0x00, 0xff}), mouse.getEvents()[1].getBytes());
}

TEST(QrxRecording, LinesOfSeveralInterfacesAreToldApartByTheirNumberLine)
{
    const QrxRecording composite = recordingOf("D: 0\nR: 1 05\nN: one\nP:\nI: 3 0001 0002\n"
                                               "D: 1\nR: 1 06\nN: two\nP:\nI: 3 0001 0002\n"
                                               "D: 0\nE: 0.0 1 aa\nD: 1\nE: 0.5 1 bb\n");
    ASSERT_EQ(2u, composite.getInterfaces().size());
    EXPECT_EQ(1, composite.getInterfaces()[1].getNumber());
    EXPECT_EQ("one", composite.getProductName());
    ASSERT_EQ(2u, composite.getEvents().size());
    EXPECT_EQ(0u, composite.getEvents()[0].getInterfaceIndex());
    EXPECT_EQ(1u, composite.getEvents()[1].getInterfaceIndex());
    EXPECT_EQ(500000u, composite.getEvents()[1].getTimeUs());
}

TEST(QrxRecording, TheNotesOfOurOwnNameStringsAndInterfaces)
{
    const QrxRecording noted = recordingOf(std::string("#@ vendor-name: Ærø \\\\ Works\n#@ product-name: 北京\n"
                                                       "#@ serial-number: 1\\n2\n#@ release: 0110\n"
                                                       "#@ device-class: ef 02 01\n#@ interface: 5 01 02\n"
                                                       "#@ of-a-later-version: anything\n") +
                                           kMouse);
    EXPECT_EQ("Ærø \\ Works", noted.getVendorName());
    EXPECT_EQ("北京", noted.getProductName());
    EXPECT_EQ("1\n2", noted.getSerialNumber());
    EXPECT_EQ(0x0110, noted.getReleaseNumber());
    EXPECT_EQ(0xef, noted.getDeviceClass());
    EXPECT_EQ(2, noted.getDeviceSubclass());
    EXPECT_EQ(1, noted.getDeviceProtocol());
    EXPECT_EQ(5, noted.getInterfaces()[0].getNumber());
    EXPECT_EQ(1, noted.getInterfaces()[0].getSubclass());
    EXPECT_EQ(2, noted.getInterfaces()[0].getProtocol());
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
            EXPECT_EQ(1u, recording.getInterfaces().size());
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
        EXPECT_EQ(0u, error.getLine());
    }
}

TEST(QrxRecording, ADirectoryIsAFaultWithItsName)
{
    const std::string folder = std::filesystem::temp_directory_path().string();
    try {
        QrxRecording::readFile(folder);
        FAIL() << "it was read";
    } catch (const QrxRecordingError& error) {
        EXPECT_EQ(folder + ": cannot be read", error.what());
    }
}

TEST(QrxRecording, EveryNumberIsReadToItsEnd)
{
    for (const char* line : {"D: 12zz",
                             "D: 65536",
                             "D: -1",
                             "D:",
                             "E: 2.0 1zz 00",
                             "E: 2zz.0 1 00",
                             "E: 2.0zz 1 00",
                             "E: 2.1234567 1 00",
                             "E: 2.0000001 1 00",
                             "E: 1000000000001.0 1 00",
                             "E: .5 1 00",
                             "E: 2.0 1 0x",
                             "E: 2.0 -1",
                             "I: 3 04d8 003fzz",
                             "I: 3 104d8 003f",
                             "I: 3 04d8 1003f",
                             "I: 10003 04d8 003f",
                             "I: 3 04d8 003f 1",
                             "#@ release: 12zz",
                             "#@ release: 10000",
                             "#@ release:",
                             "#@ device-class: 00 00",
                             "#@ device-class: zz 00 00",
                             "#@ device-class: 00 00 00 00",
                             "#@ interface: 1 00 00 00",
                             "#@ device-class: 00 zz 00",
                             "#@ device-class: 100 00 00",
                             "#@ device-class: 00 100 00",
                             "I: 3 04d9 003f",
                             "#@ interface: 1 zz 00",
                             "#@ device-class: 00 00 100",
                             "#@ device-class: 00 00 zz",
                             "#@ interface: 1 01",
                             "#@ interface: 256 00 00",
                             "#@ interface: 1 100 00",
                             "#@ interface: 1 00 100",
                             "#@ interface: a 00 00",
                             "#@ release 0110"}) {
        EXPECT_EQ(0u, faultOf(withLine(line)).find("mouse.hid:8: ")) << line << ": " << faultOf(withLine(line));
    }
}

TEST(QrxRecording, TheGreatestNumbersAreRead)
{
    const QrxRecording great = recordingOf("D: 65535\nR: 1 05\nI: ffff ffff ffff\n#@ release: ffff\n"
                                           "#@ device-class: ff ff ff\n#@ interface: 255 ff ff\n"
                                           "E: 1000000000000.999999 1 ff\n");
    EXPECT_EQ(0xffff, great.getBus());
    EXPECT_EQ(0xffff, great.getVendorID());
    EXPECT_EQ(0xffff, great.getProductID());
    EXPECT_EQ(0xffff, great.getReleaseNumber());
    EXPECT_EQ(0xff, great.getDeviceProtocol());
    EXPECT_EQ(255, great.getInterfaces()[0].getNumber());
    EXPECT_EQ(0xff, great.getInterfaces()[0].getProtocol());
    EXPECT_EQ(1'000'000'000'000'999'999u, great.getEvents()[0].getTimeUs());
    EXPECT_EQ(Bytes{0xff}, great.getEvents()[0].getBytes());
}

TEST(QrxRecording, AFractionOfASecondHasUpToSixDigits)
{
    const QrxRecording timed = recordingOf(withLine("E: 2 0\nE: 2. 0\nE: 2.000001 0\nE: 2.5 0\nE: 2.50 0"));
    std::vector<std::uint64_t> times;
    for (const QrxRecordedEvent& event : timed.getEvents()) {
        times.push_back(event.getTimeUs());
    }
    EXPECT_EQ((std::vector<std::uint64_t>{0, 1250000, 2000000, 2000000, 2000001, 2500000, 2500000}), times);
}

TEST(QrxRecording, AnInterfaceWithoutANumberHasThatOfItsOrder)
{
    const QrxRecording composite = recordingOf("D: 9\nR: 1 05\nI: 3 1 2\nD: 4\nR: 1 06\n#@ interface: 7 00 00\n"
                                               "D: 5\nR: 1 07\n");
    ASSERT_EQ(3u, composite.getInterfaces().size());
    EXPECT_EQ(0, composite.getInterfaces()[0].getNumber());
    EXPECT_EQ(7, composite.getInterfaces()[1].getNumber());
    EXPECT_EQ(2, composite.getInterfaces()[2].getNumber());
}

TEST(QrxRecording, EveryInterfaceNeedsItsDescriptor)
{
    EXPECT_EQ("mouse.hid: no R: line with a report descriptor", faultOf("D: 0\nR: 1 05\nI: 3 1 2\nD: 1\nN: two\n"));
    EXPECT_EQ("mouse.hid: no R: line with a report descriptor", faultOf("D: 0\nR: 1 05\nI: 3 1 2\nD: 1\nI: 3 1 2\n"));
}

TEST(QrxRecording, AsManyInterfacesAsNumbersAreReadAndNoMore)
{
    std::string text;
    for (int i = 0; i < 256; ++i) {
        text += "D: " + std::to_string(i) + "\nR: 1 05\nI: 3 1 2\n";
    }
    EXPECT_EQ(256u, recordingOf(text).getInterfaces().size());
    EXPECT_EQ(255, recordingOf(text).getInterfaces().back().getNumber());
    EXPECT_EQ("mouse.hid:770: more than 256 interfaces", faultOf(text + "D: 256\nR: 1 05\nI: 3 1 2\n"));
}

TEST(QrxRecording, ALineHasALimit)
{
    constexpr std::size_t kLimit = 262144;
    const std::string comment = "#" + std::string(kLimit - 1, ' ');
    EXPECT_EQ("no fault", faultOf(withLine(comment)));
    EXPECT_EQ("no fault", faultOf(kMouse + comment)) << "at the end of the file";
    EXPECT_EQ("mouse.hid:8: a line of more than 262144 bytes", faultOf(withLine(comment + " ")));
    EXPECT_EQ("mouse.hid:8: a line of more than 262144 bytes", faultOf(kMouse + comment + " "));
    EXPECT_EQ(0u, faultOf(withLine(comment + "\n\nX: 1")).find("mouse.hid:10: unknown line"));
}

TEST(QrxRecording, AnEndlessLineIsRefused)
{
    struct Zeros : std::streambuf {
        int_type underflow() override
        {
            setg(_zeros, _zeros, _zeros + sizeof _zeros);
            return 0;
        }
        char _zeros[4096] = {};
    };
    Zeros zeros;
    std::istream text(&zeros);
    try {
        QrxRecording::read(text, "zero");
        FAIL() << "it was read";
    } catch (const QrxRecordingError& error) {
        EXPECT_STREQ("zero:1: a line of more than 262144 bytes", error.what());
    }
}

TEST(QrxRecording, ATextHasALimit)
{
    const std::string longest(65535, 'n');
    for (const char* start : {"N: ", "P: ", "# ", "#@ comment: ", "#@ vendor-name: ", "#@ serial-number: ",
                              "#@ product-name: ", "#@ interface-name: ", "#@ physical-path: "}) {
        EXPECT_EQ("no fault", faultOf(withLine(start + longest))) << start;
        EXPECT_EQ("mouse.hid:8: a text of more than 65535 bytes", faultOf(withLine(start + longest + "n"))) << start;
    }
    std::string lineEnds;
    for (int i = 0; i < 65535; ++i) {
        lineEnds += "\\n";
    }
    EXPECT_EQ(65535u, recordingOf(withLine("#@ vendor-name: " + lineEnds)).getVendorName().size());
}

TEST(QrxRecording, TheLongestReportAndDescriptorAreRead)
{
    std::string bytes = " 65535";
    for (int i = 0; i < 65535; ++i) {
        bytes += " ab";
    }
    const QrxRecording longest = recordingOf("R:" + bytes + "\nI: 3 1 2\nE: 0.0" + bytes + "\n");
    EXPECT_EQ(65535u, longest.getInterfaces()[0].getReportDescriptor().size());
    EXPECT_EQ(65535u, longest.getEvents()[0].getBytes().size());
    EXPECT_EQ("mouse.hid:8: E: needs a length of at most 65535 bytes", faultOf(withLine("E: 2.0 65536")));
}

TEST(QrxRecording, LinesMayEndWithCarriageReturns)
{
    std::string text = std::string("#@ vendor-name: V\n") + kMouse;
    for (std::size_t end = 0; (end = text.find('\n', end)) != std::string::npos; end += 2) {
        text.insert(end, "\r");
    }
    const QrxRecording mouse = recordingOf(text);
    EXPECT_EQ("ACME Mouse", mouse.getInterfaces()[0].getName());
    EXPECT_EQ("V", mouse.getVendorName());
    EXPECT_EQ(std::vector<std::string>{"a mouse"}, mouse.getComments());
    EXPECT_EQ(2u, mouse.getEvents().size());
}

TEST(QrxRecording, ACarriageReturnAloneEndsNoLine)
{
    EXPECT_EQ("a\rE: 0.0 1 00", recordingOf(withLine("N: a\rE: 0.0 1 00")).getInterfaces()[0].getName());
    EXPECT_EQ("mouse.hid:1: R: needs bytes of two hexadecimal digits, not \"I:\"", faultOf("R: 1 05\rI: 3 1 2\r"));
}

TEST(QrxRecording, ABackslashOfALineWithoutEscapesIsABackslash)
{
    const QrxRecording old = recordingOf("# C:\\new\nR: 1 05\nN: A\\nB\\\\\nP: \\r\nI: 3 1 2\n");
    EXPECT_EQ("A\\nB\\\\", old.getInterfaces()[0].getName());
    EXPECT_EQ("A\\nB\\\\", old.getProductName());
    EXPECT_EQ("\\r", old.getInterfaces()[0].getPhysicalPath());
    EXPECT_EQ(std::vector<std::string>{"C:\\new"}, old.getComments());
}

TEST(QrxRecording, NotesHaveEscapes)
{
    const auto vendor = [](const std::string& text) {
        return recordingOf(withLine("#@ vendor-name: " + text)).getVendorName();
    };
    EXPECT_EQ("\\ \n \r", vendor("\\\\ \\n \\r"));
    EXPECT_EQ(" a\t", vendor("\\sa\\t"));
    EXPECT_EQ("q", vendor("\\q")) << "of a later version";
    EXPECT_EQ("a\\", vendor("a\\")) << "half an escape";
}

TEST(QrxRecording, ANoteReplacesTheTextOfItsInterface)
{
    const QrxRecording noted = recordingOf("D: 0\nR: 1 05\nN: one\nP: p\nI: 3 1 2\n"
                                           "D: 1\nR: 1 06\nN: two\nP: q\nI: 3 1 2\n#@ interface-name: 2\\n2\n"
                                           "#@ physical-path: q\\rq\nD: 0\n#@ interface-name: 1\\n1\n");
    EXPECT_EQ("1\n1", noted.getInterfaces()[0].getName());
    EXPECT_EQ("1\n1", noted.getProductName()) << "where no note gives it";
    EXPECT_EQ("p", noted.getInterfaces()[0].getPhysicalPath());
    EXPECT_EQ("2\n2", noted.getInterfaces()[1].getName());
    EXPECT_EQ("q\rq", noted.getInterfaces()[1].getPhysicalPath());
}

TEST(QrxRecording, BlanksAroundWhatALineSaysDoNotMatter)
{
    const QrxRecording spaced = recordingOf(" \t# a comment \n  #@  release :\t0110\n\tR:2  05\t01 \n N:  name\t\n"
                                            " I:\t3 1  2\r\n \t\r\n  E:  1.5   2 \t 0a 0b  \n");
    EXPECT_EQ(std::vector<std::string>{"a comment"}, spaced.getComments());
    EXPECT_EQ(0x0110, spaced.getReleaseNumber());
    EXPECT_EQ((Bytes{0x05, 0x01}), spaced.getInterfaces()[0].getReportDescriptor());
    EXPECT_EQ("name", spaced.getInterfaces()[0].getName());
    EXPECT_EQ(2, spaced.getProductID());
    ASSERT_EQ(1u, spaced.getEvents().size());
    EXPECT_EQ((Bytes{0x0a, 0x0b}), spaced.getEvents()[0].getBytes());
}

TEST(QrxRecording, ATextThatCannotBeReadToItsEndIsRefused)
{
    struct Broken : std::streambuf {
        explicit Broken(std::string text) : _text(std::move(text))
        {
            setg(_text.data(), _text.data(), _text.data() + _text.size());
        }
        int_type underflow() override { throw std::runtime_error("broken"); }
        std::string _text;
    };
    for (const char* text : {"", "R: 1 05\nI: 3 1 2\n", "R: 1 05\nI: 3 1 2\nX", "R: 1 05\nI: 3 1 2\nE: 0.0 0"}) {
        Broken broken(text);
        std::istream stream(&broken);
        try {
            QrxRecording::read(stream, "broken");
            FAIL() << "it was read: " << text;
        } catch (const QrxRecordingError& error) {
            EXPECT_NE(std::string::npos, std::string(error.what()).find(": cannot be read")) << error.what();
        }
    }
}

TEST(QrxRecording, AnIdentityThatIsNoneIsRefused)
{
    for (const char* line : {"I: 10000 1 2", "I: 3 10000 2", "I: 3 1 10000", "I: 3 100000001 2", "I: 3 1 100000002",
                             "I: zz 1 2", "I: 3 zz 2", "I: 3 1 zz", "I: 3 1", "I: 3", "I:", "I: 3 1 2 4"}) {
        EXPECT_EQ(0u, faultOf(std::string("R: 1 05\n") + line).find("mouse.hid:2: I: needs")) << line;
    }
}

TEST(QrxRecording, ANameIsNotAPlace)
{
    const QrxRecording named = recordingOf("R: 1 05\nN: n\nI: 3 1 2\n");
    EXPECT_EQ("n", named.getInterfaces()[0].getName());
    EXPECT_EQ("", named.getInterfaces()[0].getPhysicalPath());
    const QrxRecording placed = recordingOf("R: 1 05\nP: p\nI: 3 1 2\n");
    EXPECT_EQ("", placed.getInterfaces()[0].getName());
    EXPECT_EQ("p", placed.getInterfaces()[0].getPhysicalPath());
}

TEST(QrxRecording, AFaultShowsNoMoreThanTheBeginningOfALongLine)
{
    const std::string shown(40, 'x');
    const std::string start = "mouse.hid:1: neither a comment nor one of the lines D: R: N: P: I: E:, but ";
    EXPECT_EQ(start + "\"" + shown + "\"", faultOf(shown));
    EXPECT_EQ(start + "\"" + shown + "...\"", faultOf(shown + "x"));
}

} // namespace
