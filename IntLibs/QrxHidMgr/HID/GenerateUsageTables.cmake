# Writes the source with the data of UsageTables.h.
#   cmake -DINPUT=UsageTables.tsv -DPAIRS=UsageTables.pairs -DOUTPUT=file.cpp -P GenerateUsageTables.cmake
# Without PAIRS, the words have no pairs (ChooseCodePairs.py chooses them from that).

set(word_ends 8)
set(words_per_block 8)
set(last_word 2048)
set(longest_word 32)
# The names of a run are searched one by one.
set(names_per_run 16)

# How many letters two words, in hexadecimal, have in common at the beginning, as far as a word's end can tell.
function(count_shared one other result)
    math(EXPR most "${word_ends} - 1")
    foreach(count RANGE ${most} 0 -1)
        math(EXPR digits "${count} * 2")
        string(SUBSTRING "${one}" 0 ${digits} beginning)
        string(LENGTH "${beginning}" length)
        if(length EQUAL digits AND other MATCHES "^${beginning}")
            set(${result} ${count} PARENT_SCOPE)
            return()
        endif()
    endforeach()
endfunction()

# Everything that has a name, in the order of the runs: "page usage name".
file(STRINGS ${INPUT} lines ENCODING UTF-8 REGEX "^[^#]")
set(entries "")
foreach(line IN LISTS lines)
    if(line MATCHES "^page\t([0-9A-F]+)\t\t([^\t]+)$")
        list(APPEND entries "0000 ${CMAKE_MATCH_1} ${CMAKE_MATCH_2}")
    elseif(line MATCHES "^numbered\t([0-9A-F]+)\t\t([^\t]+)$")
        list(APPEND entries "${CMAKE_MATCH_1} 0000 ${CMAKE_MATCH_2}")
    elseif(line MATCHES "^usage\t([0-9A-F]+)\t([0-9A-F]+)\t([^\t]+)$")
        list(APPEND entries "${CMAKE_MATCH_1} ${CMAKE_MATCH_2} ${CMAKE_MATCH_3}")
    else()
        message(FATAL_ERROR "Not understood: ${line}")
    endif()
endforeach()
list(SORT entries)

# The words, and their text as codes in hexadecimal (",44,61,74,61,00"); "|" stands between blocks.
string(REGEX REPLACE "(^|;)[0-9A-F]+ [0-9A-F]+ " "\\1" words "${entries}")
string(REPLACE " " ";" words "${words}")
list(REMOVE_DUPLICATES words)
list(SORT words)
list(LENGTH words count)
if(count GREATER last_word)
    message(FATAL_ERROR "${count} words, but a name has ${last_word} numbers for them")
endif()

set(text "")
set(number 0)
set(before "")
foreach(word IN LISTS words)
    string(HEX "${word}" letters)
    string(LENGTH "${word}" length) # in bytes
    if(length GREATER longest_word)
        message(FATAL_ERROR "${word} is longer than ${longest_word}")
    endif()
    math(EXPR place_in_block "${number} % ${words_per_block}")
    if(number EQUAL 0)
        set(shared 0)
    elseif(place_in_block EQUAL 0)
        set(shared 0)
        string(APPEND text ",00|") # the next block
    else()
        count_shared(${before} ${letters} shared)
        string(APPEND text ",0${shared}")
    endif()
    math(EXPR digits "${shared} * 2")
    string(SUBSTRING "${letters}" ${digits} -1 rest)
    string(REGEX REPLACE "(..)" ",\\1" rest "${rest}")
    string(APPEND text "${rest}")

    set(number_${letters} ${number})
    set(before "${letters}")
    math(EXPR number "${number} + 1")
endforeach()
string(APPEND text ",00")

# The pairs, each of which may stand for pairs before it.
set(pairs "")
if(PAIRS)
    file(STRINGS ${PAIRS} lines REGEX "^[^#]")
    foreach(line IN LISTS lines)
        if(NOT line MATCHES "^([0-9a-f][0-9a-f]) ([0-9a-f][0-9a-f]) ([0-9a-f][0-9a-f]) ")
            message(FATAL_ERROR "Not understood: ${line}")
        endif()
        string(FIND "${text}" ",${CMAKE_MATCH_1}" used)
        if(NOT used EQUAL -1)
            message(FATAL_ERROR "${CMAKE_MATCH_1} is a letter: choose the pairs anew (ChooseCodePairs.py)")
        endif()
        string(REPLACE ",${CMAKE_MATCH_2},${CMAKE_MATCH_3}" ",${CMAKE_MATCH_1}" text "${text}")
        string(APPEND pairs "    pairs[0x${CMAKE_MATCH_1}] = {0x${CMAKE_MATCH_2}, 0x${CMAKE_MATCH_3}};\n")
    endforeach()
endif()

set(blocks "")
set(words_size 0)
string(REPLACE "|" ";" text "${text}")
foreach(block IN LISTS text)
    string(APPEND blocks "${words_size}, ")
    string(LENGTH "${block}" length)
    math(EXPR words_size "${words_size} + ${length} / 3")
endforeach()
string(REGEX REPLACE ",(..)" "0x\\1, " text "${text}")
string(REPLACE ";" "\n    " text "${text}")

# The names and the runs.
set(names "")
set(place 0)
set(low "")
set(runs "")
set(next "")
foreach(entry IN LISTS entries)
    string(REPLACE " " ";" name "${entry}")
    list(POP_FRONT name page usage)
    math(EXPR key "0x${page}${usage}")
    if(NOT key STREQUAL next OR run_names EQUAL names_per_run)
        string(APPEND runs "    {0x${page}, 0x${usage}, ${place}},\n")
        set(run_names 0)
    endif()
    math(EXPR run_names "${run_names} + 1")
    math(EXPR next "${key} + 1")

    list(LENGTH name left)
    foreach(word IN LISTS name)
        string(HEX "${word}" letters)
        set(value ${number_${letters}})
        math(EXPR left "${left} - 1")
        if(left EQUAL 0)
            math(EXPR value "${value} + ${last_word}")
        endif()
        if(low STREQUAL "")
            set(low ${value})
        else()
            math(EXPR b0 "${low} & 0xFF")
            math(EXPR b1 "(${low} >> 8) + ((${value} & 0xF) << 4)")
            math(EXPR b2 "${value} >> 4")
            string(APPEND names "${b0}, ${b1}, ${b2}, ")
            set(low "")
        endif()
        math(EXPR place "${place} + 1")
    endforeach()
    string(APPEND names "\n    ")
endforeach()
if(NOT low STREQUAL "")
    math(EXPR b0 "${low} & 0xFF")
    math(EXPR b1 "${low} >> 8")
    string(APPEND names "${b0}, ${b1}, 0")
endif()
string(APPEND runs "    {0xFFFF, 0xFFFF, ${place}},\n")

file(WRITE ${OUTPUT} "#include \"HID/UsageTables.h\"

#include <array>

namespace qrx::hid {

namespace {

static_assert(kWordEnds == ${word_ends} && kWordsPerBlock == ${words_per_block} && kLastWord == ${last_word} &&
              kLongestWord == ${longest_word});
static_assert(${words_size} <= 0x10000 && ${place} <= 0x10000, \"places have 16 bits\");

constexpr std::uint8_t kWords[] = {
    ${text}};

constexpr std::uint16_t kBlocks[] = {
    ${blocks}};

constexpr auto kPairs = [] {
    std::array<CodePair, 0x100> pairs{};
${pairs}    return pairs;
}();

constexpr std::uint8_t kNames[] = {
    ${names}};

constexpr UsageRun kRuns[] = {
${runs}};

} // namespace

constinit const UsageTables kUsageTables{kRuns, kNames, kBlocks, kWords, kPairs.data()};

} // namespace qrx::hid
")
