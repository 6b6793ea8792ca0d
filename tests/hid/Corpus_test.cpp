// Real devices' descriptors and malformed ones, from the folder that QRX_RECORDINGS names.

#include "DescriptorText.h"
#include "OracleComparison.h"
#include "RecordedDevice.h"
#include "TreeInvariants.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <memory>

namespace qrx::hid {
namespace {

using nlohmann::json;

class Corpus : public testing::Test {
protected:
    void SetUp() override
    {
        const char* folder = std::getenv("QRX_RECORDINGS");
        if (folder == nullptr || *folder == 0) {
            std::cerr << "*** QRX_RECORDINGS is not set: NO REAL DEVICE IS READ BY THIS TEST ***\n";
            GTEST_SKIP() << "QRX_RECORDINGS names no folder of recordings";
        }
        _folder = folder;
    }

    std::vector<std::filesystem::path> _files(const char* kind) const { return recordingsIn(_folder / kind); }

    /// The independent reading of each file of the kind, in their order; made once for all tests of the program.
    const std::vector<json>& _oracle(const char* kind) const
    {
        static std::map<std::string, std::vector<json>> readings;
        const auto [found, isNew] = readings.try_emplace(kind);
        if (isNew)
            found->second = _runOracle(_files(kind));
        return found->second;
    }

    std::filesystem::path _folder;

private:
    std::vector<json> _runOracle(const std::vector<std::filesystem::path>& files) const
    {
        std::string command = "python3 '" + (_folder / "oracle.py").string() + "' --lines";
        for (const auto& file : files)
            command += " '" + file.string() + "'";
        const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
        if (!pipe)
            return {};
        std::string text;
        char buffer[65536];
        while (const std::size_t length = std::fread(buffer, 1, sizeof buffer, pipe.get()))
            text.append(buffer, length);
        std::vector<json> readings;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            readings.push_back(json::parse(line));
        return readings;
    }
};

struct Reading {
    std::vector<std::uint8_t> bytes;
    Descriptor descriptor;
    ElementTree tree;
    std::chrono::nanoseconds time{};
};

/// Limits as an application has them, but with all diagnoses: they are the proof that a difference is known.
Limits limitsWithAllDiagnoses()
{
    Limits limits;
    limits.diagnoses = 100'000;
    return limits;
}

/// What this thread has computed: what others do at the same time is not in it.
std::chrono::nanoseconds processorTime()
{
    timespec time{};
    EXPECT_EQ(clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time), 0);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// Reads the file's first interface, as the oracle does.
Reading readFile(const std::filesystem::path& file)
{
    const Limits limits = limitsWithAllDiagnoses();
    Reading reading;
    const auto interfaces = readRecording(file);
    if (!interfaces.empty())
        reading.bytes = interfaces.front().descriptor;
    const auto start = processorTime();
    reading.descriptor = parseReportDescriptor(reading.bytes, limits);
    reading.tree = buildElementTree(reading.descriptor, limits);
    reading.time = processorTime() - start;
    return reading;
}

/// What a person needs to find the fault.
std::string evidence(const Reading& reading)
{
    return hexOf(reading.bytes) + "\n" + fieldsText(reading.descriptor) + diagnosesText(reading.descriptor);
}

TEST_F(Corpus, EveryFieldOfEveryDeviceAgreesWithTheIndependentReading)
{
    const auto files = _files("devices");
    const std::vector<json>& oracle = _oracle("devices");
    ASSERT_EQ(oracle.size(), files.size());
    std::map<std::string, int> reasons;
    std::size_t fields = 0;
    for (std::size_t i = 0; i < files.size(); ++i) {
        const Reading reading = readFile(files[i]);
        const OracleComparison comparison(reading.descriptor, oracle[i]);
        EXPECT_TRUE(comparison.failures().empty()) << files[i] << "\n"
                                                   << testing::PrintToString(comparison.failures()) << "\n"
                                                   << evidence(reading);
        for (const auto& [reason, count] : comparison.reasons())
            reasons[reason] += count;
        fields += reading.descriptor.fields.size();
    }
    EXPECT_GT(fields, files.size());
    // No real device meets a limit of the reading, nor carries a report number of 0: these reasons are all there may
    // be.
    for (const auto& [reason, count] : reasons) {
        std::cout << count << " times: " << reason << "\n";
        EXPECT_TRUE(reason.starts_with("a usage list") || reason.starts_with("of a delimiter set") ||
                    reason.starts_with("physical limits"))
            << reason;
    }
}

TEST_F(Corpus, EveryDevicesTreeKeepsTheRules)
{
    for (const auto& file : _files("devices")) {
        const Reading reading = readFile(file);
        EXPECT_EQ(brokenInvariant(reading.descriptor, reading.tree, limitsWithAllDiagnoses()), "") << file << "\n"
                                                                                                   << evidence(reading);
        EXPECT_EQ(reading.tree.hasFields, !reading.descriptor.fields.empty()) << file;
    }
}

/// Usages by place, of the first fields of `field` that have one, counted out from the oracle's list.
std::map<std::size_t, std::uint32_t> usagesByPlace(const json& field, std::size_t numberBits)
{
    const json& usages = field.contains("usages_linux") ? field["usages_linux"] : field["usages"];
    std::map<std::size_t, std::uint32_t> places;
    std::size_t place = field["bit_offset"].get<std::size_t>() + numberBits;
    std::size_t left = field["count"];
    const std::size_t size = field["size"];
    for (const json& entry : usages) {
        const json& usage = entry.is_object() ? entry["alt"][0] : entry;
        const std::uint32_t first = usage.is_array() ? usage[0] : usage;
        const std::uint32_t last = usage.is_array() && !entry.is_object() ? usage[1]
                                   : usage.is_array()                     ? usage[0]
                                                                          : usage;
        for (std::uint64_t value = first; value <= last && left > 0; ++value, --left, place += size)
            places[place] = static_cast<std::uint32_t>(value);
    }
    return places;
}

TEST_F(Corpus, EveryVariableOfEveryDeviceHasAnElementAtItsPlace)
{
    const auto files = _files("devices");
    const std::vector<json>& oracle = _oracle("devices");
    ASSERT_EQ(oracle.size(), files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        const Reading reading = readFile(files[i]);
        std::set<std::tuple<ElementType, std::uint32_t, std::size_t, std::uint32_t>> elements;
        for (const Element& element : reading.tree.elements) {
            const ElementType type = element.type == ElementType::inputButton ? ElementType::inputMisc : element.type;
            if (element.role == ElementRole::field)
                elements.insert({type, element.reportID, element.bitOffset, element.usagePage << 16 | element.usage});
        }
        for (const json& report : oracle[i]["reports"]) {
            const std::uint32_t id = report["id"];
            const ElementType type = report["type"] == "input"    ? ElementType::inputMisc
                                     : report["type"] == "output" ? ElementType::output
                                                                  : ElementType::feature;
            for (const json& field : report["fields"]) {
                const std::uint32_t flags = field["flags"];
                if ((flags & kFieldConstant) != 0 || (flags & kFieldVariable) == 0 || field["size"] == 0)
                    continue;
                for (const auto& [place, usage] : usagesByPlace(field, id != 0 ? 8 : 0))
                    EXPECT_TRUE(elements.contains({type, id, place, usage}))
                        << files[i] << ": usage " << std::hex << usage << std::dec << " at bit " << place << " of "
                        << report["type"] << " " << id << "\n"
                        << evidence(reading);
            }
        }
    }
}

TEST_F(Corpus, MalformedDescriptorsAgreeAsFarAsTheyAreUnderstoodAndTakeNoTime)
{
    const auto files = _files("malformed");
    const std::vector<json>& oracle = _oracle("malformed");
    ASSERT_EQ(oracle.size(), files.size());
    for (std::size_t i = 0; i < files.size(); ++i) {
        const Reading reading = readFile(files[i]);
        EXPECT_EQ(brokenInvariant(reading.descriptor, reading.tree, limitsWithAllDiagnoses()), "") << files[i] << "\n"
                                                                                                   << evidence(reading);
        // Far above what any takes, even with sanitizers; a wrapped count would take for ever.
        EXPECT_LT(reading.time, std::chrono::seconds(2)) << files[i];
        if (oracle[i].contains("unreadable"))
            continue;
        const OracleComparison comparison(reading.descriptor, oracle[i]);
        EXPECT_TRUE(comparison.failures().empty()) << files[i] << "\n"
                                                   << testing::PrintToString(comparison.failures()) << "\n"
                                                   << evidence(reading);
    }
}

TEST_F(Corpus, RealInputIsNeverShorterThanDeclaredAndSeldomLonger)
{
    std::size_t events = 0;
    std::size_t longer = 0;
    for (const auto& file : _files("devices")) {
        for (const RecordedInterface& recorded : readRecording(file)) {
            Descriptor descriptor = parseReportDescriptor(recorded.descriptor);
            const ElementTree tree = buildElementTree(descriptor);
            for (const auto& event : recorded.events) {
                const std::uint32_t id = tree.usesReportIDs && !event.empty() ? event[0] : 0;
                for (const std::uint32_t cookie : tree.reportHandlers) {
                    const Element& handler = tree.elements[cookie];
                    if (handler.reportID != id)
                        continue;
                    const std::size_t declared = (handler.reportSize + 7) / 8;
                    ++events;
                    longer += event.size() > declared ? 1U : 0U;
                    EXPECT_GE(event.size(), declared) << file << ": " << hexOf(event) << "\n" << fieldsText(descriptor);
                }
            }
        }
    }
    EXPECT_GT(events, 1000U);
    // Some touchscreens always send 64 bytes; were our sizes wrong, far more than one in twenty would be longer.
    EXPECT_LT(longer, events / 20) << longer << " of " << events;
}

} // namespace
} // namespace qrx::hid
