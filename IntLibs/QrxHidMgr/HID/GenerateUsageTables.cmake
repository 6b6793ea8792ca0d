# Writes the source with the data of UsageTables.h.
#   cmake -DINPUT=UsageTables.tsv -DOUTPUT=file.cpp -P GenerateUsageTables.cmake
#
# Each word of the names is there once, since the names of a page say the same words again and again; a name is a list of
# words, the last of which is marked. Usages that follow each other are one run.

file(STRINGS ${INPUT} lines ENCODING UTF-8 REGEX "^[^#]")

set(words_size 0)
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
        if(NOT DEFINED place_${key})
            set(place_${key} ${words_size})
            string(LENGTH "${word}" length) # in bytes
            math(EXPR words_size "${words_size} + ${length} + 1")
            string(APPEND words "    \"${word}\\0\"\n")
        endif()
        math(EXPR left "${left} - 1")
        if(left EQUAL 0)
            string(APPEND names "kLastWord | ")
        endif()
        string(APPEND names "${place_${key}}, ")
        math(EXPR name_place "${name_place} + 1")
    endforeach()
    string(APPEND names "\n    ")
endforeach()
string(APPEND runs "    {${run}, ${count}},\n")

file(WRITE ${OUTPUT} "#include \"HID/UsageTables.h\"

namespace qrx::hid {

namespace {

constexpr char kWords[] =
${words};

static_assert(sizeof kWords == ${words_size} + 1 && sizeof kWords <= kLastWord, \"the place of each word has 15 bits\");

constexpr std::uint16_t kNames[] = {
    ${names}};

constexpr UsageRun kRuns[] = {
${runs}};

} // namespace

constinit const UsageTables kUsageTables{kRuns, kNames, kWords};

} // namespace qrx::hid
")
