# Writes the source with the data of UsageTables.h: all entries, ordered by page and usage.
#   cmake -DINPUT=UsageTables.tsv -DOUTPUT=file.cpp -P GenerateUsageTables.cmake

file(READ ${INPUT} text)
string(REGEX REPLACE "#[^\n]*\n" "" text "${text}")
# Digits that are not there are 0: a page has no usage.
string(REGEX REPLACE "(page|usage|numbered)\t([0-9A-F]+)\t([0-9A-F]*)\t([^\n]*)\n"
    "    {UsageEntry::Kind::\\1, 0x\\2, 0x0\\3, \"\\4\"},\n" entries "${text}")

file(WRITE ${OUTPUT} "#include \"HID/UsageTables.h\"

namespace qrx::hid {

namespace {

constexpr UsageEntry kEntries[] = {
${entries}};

} // namespace

std::span<const UsageEntry> usageTables()
{
    return kEntries;
}

} // namespace qrx::hid
")
