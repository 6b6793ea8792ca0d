# Writes the source that defines builtInRecordings().
#   cmake -DOUTPUT=file.cpp -DRECORDINGS=a.hid;b.hid -P EmbedRecordings.cmake

set(entries "")
foreach(recording IN LISTS RECORDINGS)
    get_filename_component(name ${recording} NAME_WE)
    file(READ ${recording} text)
    string(APPEND entries "    {\"${name}\", R\"recording(${text})recording\"},\n")
endforeach()

file(WRITE ${OUTPUT} "#include \"commands/BuiltInRecordings.h\"

namespace qrxhid {

namespace {

constexpr BuiltInRecording kRecordings[] = {
${entries}};

} // namespace

std::span<const BuiltInRecording> builtInRecordings()
{
    return kRecordings;
}

} // namespace qrxhid
")
