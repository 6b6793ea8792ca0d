#include "Decoding.h"

#include "AllocationCount.h"
#include "Descriptors.h"
#include "QrxReportLayout.h"

#include <cstdint>
#include <map>
#include <vector>

namespace decoding {

namespace {

struct Device {
    std::vector<std::uint8_t> descriptor;
    std::vector<std::uint8_t> report;
};

/// 12 buttons, a hat switch and four axes: 17 fields, 6 bytes.
Device gamepad()
{
    return {{0x05, 0x01, 0x09, 0x05, 0xA1, 0x01,                                     // application: gamepad
             0x15, 0x00, 0x26, 0xFF, 0x00, 0x75, 0x08, 0x95, 0x04,                   // four values of 8 bits:
             0x09, 0x30, 0x09, 0x31, 0x09, 0x32, 0x09, 0x35, 0x81, 0x02,             // X, Y, Z, Rz
             0x25, 0x07, 0x75, 0x04, 0x95, 0x01, 0x09, 0x39, 0x81, 0x42,             // hat switch, null state
             0x05, 0x09, 0x19, 0x01, 0x29, 0x0C, 0x25, 0x01, 0x75, 0x01, 0x95, 0x0C, // 12 buttons
             0x81, 0x02, 0xC0},
            {0x80, 0x7F, 0x01, 0xFF, 0x18, 0xA5}};
}

/// A boot keyboard: 8 modifiers and an array of six of 102 keys, with the slots and usages 122 elements.
Device bootKeyboard()
{
    return {keyboardDescriptor(0x65), {0x02, 0x00, 0x04, 0x05, 0x06, 0x07, 0x08, 0x09}};
}

/// A keyboard with a bit for each key: 8 modifiers and 268 keys.
Device bitKeyboard()
{
    Device device{{0x05, 0x01, 0x09, 0x06, 0xA1, 0x01,                         // application: keyboard
                   0x05, 0x07, 0x15, 0x00, 0x25, 0x01, 0x75, 0x01,             // bits
                   0x19, 0xE0, 0x29, 0xE7, 0x95, 0x08, 0x81, 0x02,             // 8 modifiers
                   0x19, 0x00, 0x2A, 0x0B, 0x01, 0x96, 0x0C, 0x01, 0x81, 0x02, // 268 keys
                   0x95, 0x04, 0x81, 0x01, 0xC0},                              // padding
                  // Every fourth key is down: values differ from field to field.
                  std::vector<std::uint8_t>(35, 0x11)};
    return device;
}

/// One entry of 16 bits that shows one of 16,000 usages.
Device wideArray()
{
    return {{0x06, 0x00, 0xFF, 0x09, 0x01, 0xA1, 0x01,                   // vendor application
             0x19, 0x01, 0x2A, 0x80, 0x3E, 0x15, 0x01, 0x26, 0x80, 0x3E, // usages and values 1 to 16,000
             0x75, 0x10, 0x95, 0x01, 0x81, 0x00, 0xC0},
            {0x34, 0x12}};
}

const std::map<std::string, Device>& devices()
{
    static const std::map<std::string, Device> sm_Devices{{"gamepad-17", gamepad()},
                                                          {"keyboard-122", bootKeyboard()},
                                                          {"keyboard-276", bitKeyboard()},
                                                          {"array-16000", wideArray()}};
    return sm_Devices;
}

QrxReportLayout layoutOf(const Device& device)
{
    return {device.descriptor.data(), device.descriptor.size()};
}

void layoutReads(benchmark::State& state, const Device& device)
{
    const QrxReportLayout layout = layoutOf(device);
    // Kept from report to report, as an application keeps it: memory is taken once.
    QrxReportValues values;
    const auto decodeOne = [&] {
        layout.decode(QrxReportType::input, device.report.data(), device.report.size(), values);
        benchmark::DoNotOptimize(values.getCount());
    };
    // The first report takes memory for the values; later ones must not.
    decodeOne();
    const std::uint64_t before = allocationCount();
    for (auto iteration : state) {
        decodeOne();
    }
    state.counters["allocations"] = static_cast<double>(allocationCount() - before);
    state.counters["values"] = static_cast<double>(values.getCount());
}

/// The floor: places that are known, values without a meaning.
void loopReads(benchmark::State& state, const Device& device)
{
    struct Place {
        std::size_t bitOffset;
        unsigned int bits;
    };
    const QrxReportLayout layout = layoutOf(device);
    // Found before the clock runs: the loop itself only shifts bits.
    std::vector<Place> places;
    for (std::size_t i = 0; i < layout.getFieldCount(); ++i) {
        const QrxReportField field = layout.getField(i);
        for (std::uint32_t at = 0; at < field.getCount() && field.getReportType() == QrxReportType::input; ++at) {
            places.push_back({field.getBitOffset() + std::size_t{at} * field.getSizeBits(), field.getSizeBits()});
        }
    }
    std::vector<std::int64_t> values(places.size());
    for (auto iteration : state) {
        for (std::size_t i = 0; i < places.size(); ++i) {
            const Place& place = places[i];
            // Bit by bit, since a field may begin and end within a byte.
            std::uint64_t value = 0;
            for (unsigned int bit = 0; bit < place.bits; ++bit) {
                const std::size_t at = place.bitOffset + bit;
                value |= std::uint64_t{(device.report[at / 8] >> (at % 8)) & 1U} << bit;
            }
            values[i] = static_cast<std::int64_t>(value);
        }
        benchmark::DoNotOptimize(values.data());
        benchmark::ClobberMemory();
    }
}

} // namespace

void registerBenchmarks(RatioReporter& reporter)
{
    // A decoded value has usage, place, sign and null state besides its number. Measured: 1.6 to 2.3.
    // The limits leave room for a machine that is busy with other things.
    const std::map<std::string, double> limits{
        {"gamepad-17", 3}, {"keyboard-122", 3}, {"keyboard-276", 4}, {"array-16000", 3}};
    for (const auto& [name, device] : devices()) {
        const Device& described = device;
        benchmark::RegisterBenchmark(("decode/" + name).c_str(), [&described](benchmark::State& state) {
            layoutReads(state, described);
        })->MinTime(0.05);
        benchmark::RegisterBenchmark(("read/" + name).c_str(), [&described](benchmark::State& state) {
            loopReads(state, described);
        })->MinTime(0.05);
        reporter.addRatio("decoding, " + name + ", against reading known places", "decode/" + name, "read/" + name,
                          limits.at(name));
    }
}

void decode(const std::string& device, std::size_t count)
{
    const Device& described = devices().at(device);
    const QrxReportLayout layout = layoutOf(described);
    QrxReportValues values;
    for (std::size_t i = 0; i < count; ++i) {
        layout.decode(QrxReportType::input, described.report.data(), described.report.size(), values);
    }
}

} // namespace decoding
