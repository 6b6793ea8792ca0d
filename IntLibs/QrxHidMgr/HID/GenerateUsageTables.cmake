# Writes the source with the data of UsageTables.h.
#   cmake -DINPUT=UsageTables.tsv -DOUTPUT=file.cpp -P GenerateUsageTables.cmake
#
# Each word of the names is there once, since the names of a page say the same words again and again; a name is a list of
# words, the last of which is marked. Usages that follow each other are one run.

file(STRINGS ${INPUT} lines ENCODING UTF-8 REGEX "^[^#]")

set(word_count 0)
set(words "")
set(names "")
set(name_place 0)
set(runs "")
set(run "")
set(next "")

foreach(line IN LISTS lines)
    if(NOT line MATCHES "^(page|usage|numbered)\t([0-9A-F]+)\t([0-9A-F]*)\t([^\t]+)$")
        message(FATAL_ERROR "Not understood: ${line}")
    endif()
    set(kind ${CMAKE_MATCH_1})
    set(page ${CMAKE_MATCH_2})
    set(name_words "${CMAKE_MATCH_4}")
    # A page has no usage.
    math(EXPR usage "0x0${CMAKE_MATCH_3}")

    if(NOT "${kind} ${page} ${usage}" STREQUAL next)
        if(run)
            string(APPEND runs "    {${run}, ${count}},\n")
        endif()
        set(run "0x${page}, UsageKind::${kind}, ${usage}, ${name_place}")
        set(count 0)
    endif()
    math(EXPR count "${count} + 1")
    math(EXPR usage "${usage} + 1")
    set(next "${kind} ${page} ${usage}")

    string(REPLACE " " ";" name_words "${name_words}")
    list(LENGTH name_words left)
    foreach(word IN LISTS name_words)
        string(MD5 key "${word}")
        if(NOT DEFINED number_${key})
            set(number_${key} ${word_count})
            math(EXPR word_count "${word_count} + 1")
            string(APPEND words "    \"${word}\\0\"\n")
        endif()
        math(EXPR left "${left} - 1")
        if(left EQUAL 0)
            string(APPEND names "kLastWord | ")
        endif()
        string(APPEND names "${number_${key}}, ")
        math(EXPR name_place "${name_place} + 1")
    endforeach()
    string(APPEND names "\n    ")
endforeach()
string(APPEND runs "    {${run}, ${count}},\n")

file(WRITE ${OUTPUT} "#include \"HID/UsageTables.h\"

#include <array>
#include <limits>

namespace qrx::hid {

namespace {

constexpr char kWords[] =
${words};

// Where each word begins: a pointer for each would be relocated whenever a program starts.
constexpr auto kWordPlaces = [] {
    static_assert(sizeof kWords <= std::numeric_limits<std::uint16_t>::max());
    std::array<std::uint16_t, ${word_count}> places{};
    std::uint16_t at = 0;
    for (std::uint16_t& place : places) {
        place = at;
        while (kWords[at++] != '\\0') {
        }
    }
    return places;
}();

constexpr std::uint16_t kNames[] = {
    ${names}};

constexpr UsageRun kRuns[] = {
${runs}};

} // namespace

constinit const UsageTables kUsageTables{kRuns, kNames, kWords, kWordPlaces};

} // namespace qrx::hid
")
