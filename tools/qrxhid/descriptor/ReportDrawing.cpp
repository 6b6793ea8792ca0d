#include "descriptor/ReportDrawing.h"

#include "text/ElementOutline.h"
#include "text/FieldText.h"
#include "text/TextFormat.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

namespace qrxhid {

namespace {

constexpr std::size_t kBitsPerByte = 8;
// A second alphabet for reports with many fields; then it begins anew, and the legend tells which is meant.
constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
constexpr char kNothing = '-';
constexpr char kNumber = '#';
constexpr std::size_t kByteWidth = 11;

/// The fields of one report that have a place, by their place.
std::vector<FieldOutline> fieldsOf(const std::vector<ElementOutline>& elements, const ReportOutline& report)
{
    std::vector<FieldOutline> fields;
    for (const ElementOutline& element : elements) {
        // Usages beyond the values of their item have no place, and nothing to draw.
        if (element.field && element.field->kind == report.kind && element.field->reportID == report.reportID &&
            element.field->bitOffset) {
            fields.push_back(*element.field);
        }
        std::ranges::copy(fieldsOf(element.elements, report), std::back_inserter(fields));
    }
    std::ranges::stable_sort(fields, {}, &FieldOutline::bitOffset);
    return fields;
}

struct Drawing {
    /// A sign for each bit of the report, from bit 0 of byte 0.
    std::string bits;
    /// By byte, what begins in it.
    std::vector<std::vector<std::string>> legends;
};

std::string legendOf(char letter, const FieldOutline& field)
{
    constexpr std::uint32_t kNoPage = 0;
    const FieldWords words = fieldWords(field, kNoPage);
    return std::string(1, letter) + "  " + words.size + ", " + words.usages + ", " + words.range +
           (words.details.empty() ? "" : ", " + words.details);
}

Drawing drawingOf(const std::vector<FieldOutline>& fields, const ReportOutline& report)
{
    Drawing drawing{std::string(report.bytes() * kBitsPerByte, kNothing), {}};
    drawing.legends.resize(report.bytes());
    if (report.reportID != 0) {
        std::fill_n(drawing.bits.begin(), std::min(kBitsPerByte, drawing.bits.size()), kNumber);
        drawing.legends[0].push_back(std::string(1, kNumber) + "  report number " + std::to_string(report.reportID));
    }
    std::size_t next = 0;
    for (const FieldOutline& field : fields) {
        // By place and not by usage, so that neighbours never have the same letter.
        const char letter = kLetters[next++ % kLetters.size()];
        const std::size_t end =
            std::min<std::size_t>(*field.bitOffset + field.count * field.sizeBits, drawing.bits.size());
        for (std::size_t bit = *field.bitOffset; bit < end; ++bit) {
            drawing.bits[bit] = letter;
        }
        if (*field.bitOffset / kBitsPerByte < drawing.legends.size()) {
            drawing.legends[*field.bitOffset / kBitsPerByte].push_back(legendOf(letter, field));
        }
    }
    return drawing;
}

/// The signs of a byte, bit 7 first.
std::string rowOf(const Drawing& drawing, std::size_t byte)
{
    std::string row;
    // As data sheets draw bytes.
    for (std::size_t bit = kBitsPerByte; bit-- > 0;) {
        row += std::string(" ") + drawing.bits[byte * kBitsPerByte + bit];
    }
    return row;
}

/// The last byte that looks like this one and in which nothing begins.
std::size_t lastAlike(const Drawing& drawing, std::size_t byte)
{
    std::size_t last = byte;
    while (last + 1 < drawing.legends.size() && drawing.legends[last + 1].empty() &&
           rowOf(drawing, last + 1) == rowOf(drawing, byte)) {
        ++last;
    }
    return last;
}

void draw(std::ostream& out, const Drawing& drawing)
{
    out << "  " << padded("byte", kByteWidth) << " 7 6 5 4 3 2 1 0\n";
    for (std::size_t byte = 0; byte < drawing.legends.size(); ++byte) {
        // Long fields take one row for all bytes that look alike: a report of 64 bytes stays on one screen.
        const std::size_t last = lastAlike(drawing, byte);
        const std::string number = std::to_string(byte) + (last == byte ? "" : " .. " + std::to_string(last));
        out << "  " << padded(number, kByteWidth) << rowOf(drawing, byte);
        const std::vector<std::string>& legends = drawing.legends[byte];
        for (std::size_t i = 0; i < legends.size(); ++i) {
            const std::size_t indent = i == 0 ? 0 : 2 + kByteWidth + 2 * kBitsPerByte;
            out << (i == 0 ? "" : "\n") << std::string(indent, ' ') << "   " << legends[i];
        }
        out << "\n";
        byte = last;
    }
}

} // namespace

void drawReports(std::ostream& out, const QrxReportLayout& layout)
{
    const InterfaceOutline outline = outlineOf(layout, 0);
    for (const ReportOutline& report : outline.reports) {
        out << "\n" << reportText(report) << "\n";
        draw(out, drawingOf(fieldsOf(outline.elements, report), report));
    }
}

} // namespace qrxhid
