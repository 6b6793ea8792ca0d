# Writes the source that defines pageTemplate(): page.html, in which the style sheet and the scripts that it names stand
# in place of their names, and a security policy that lets a browser run these and load nothing.
#   cmake -DOUTPUT=file.cpp -DPAGE=page.html -P EmbedPage.cmake
cmake_minimum_required(VERSION 3.25)

get_filename_component(folder ${PAGE} DIRECTORY)
file(READ ${PAGE} page)

# The digest of a text as security policies want it: SHA-256 in Base64.
function(digest_of text result)
    set(alphabet "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/")
    string(SHA256 hex "${text}")
    # 256 bits are 42 groups of six and one of four, which two zeros fill up.
    string(APPEND hex "00")
    set(base64 "")
    foreach(group RANGE 0 20)
        # Three hexadecimal digits are two digits of Base64.
        math(EXPR at "${group} * 3")
        string(SUBSTRING "${hex}" ${at} 3 digits)
        math(EXPR high "0x${digits} >> 6")
        math(EXPR low "0x${digits} & 63")
        string(SUBSTRING "${alphabet}" ${high} 1 high)
        string(SUBSTRING "${alphabet}" ${low} 1 low)
        string(APPEND base64 "${high}${low}")
    endforeach()
    string(SUBSTRING "${hex}" 63 2 digits)
    math(EXPR last "0x${digits} >> 2")
    string(SUBSTRING "${alphabet}" ${last} 1 last)
    set(${result} "'sha256-${base64}${last}='" PARENT_SCOPE)
endfunction()

# Puts the contents of the files that match `pattern` into one element, in the order of the page.
function(embed pattern element result)
    string(REGEX MATCHALL "${pattern}" tags "${page}")
    set(contents "")
    foreach(tag IN LISTS tags)
        string(REGEX REPLACE "${pattern}" "\\1" name "${tag}")
        file(READ ${folder}/${name} content)
        string(APPEND contents "${content}")
        list(GET tags -1 last)
        if(tag STREQUAL last)
            set(replacement "<${element}>${contents}</${element}>")
        else()
            set(replacement "")
            string(APPEND tag "\n")
        endif()
        string(REPLACE "${tag}" "${replacement}" page "${page}")
    endforeach()
    if(contents STREQUAL "" OR contents MATCHES "</${element}")
        message(FATAL_ERROR "${PAGE}: nothing for <${element}>, or something that ends it")
    endif()
    digest_of("${contents}" digest)
    set(${result} "${digest}" PARENT_SCOPE)
    set(page "${page}" PARENT_SCOPE)
endfunction()

embed("<link rel=\"stylesheet\" href=\"([a-z]+\\.css)\">" style style)
embed("<script src=\"([a-z]+\\.js)\"></script>" script script)
set(policy "default-src 'none'; script-src ${script}; style-src ${style}; base-uri 'none'; form-action 'none'")
string(REPLACE "@POLICY@" "${policy}" page "${page}")

string(FIND "${page}" "@DEVICE@" middle)
if(middle EQUAL -1)
    message(FATAL_ERROR "${PAGE}: no place for the device")
endif()
string(SUBSTRING "${page}" 0 ${middle} before)
string(LENGTH "@DEVICE@" length)
math(EXPR end "${middle} + ${length}")
string(SUBSTRING "${page}" ${end} -1 after)

file(WRITE ${OUTPUT} "#include \"page/DevicePage.h\"

namespace qrxhid {

namespace {

constexpr std::string_view kBefore = R\"page(${before})page\";
constexpr std::string_view kAfter = R\"page(${after})page\";

} // namespace

PageTemplate pageTemplate()
{
    return {kBefore, kAfter};
}

} // namespace qrxhid
")
