// Any bytes as a text that is shown to a person, and as a file of udev rules.

#include "Failure.h"
#include "Text/ShownText.h"
#include "Text/Utf8.h"
#include "doctor/RuleText.h"

namespace {

bool steers(char32_t character)
{
    return character < 0x20 || (character >= 0x7F && character < 0xA0) || character == 0x61C ||
           (character >= 0x200E && character <= 0x200F) || (character >= 0x2028 && character <= 0x202E) ||
           (character >= 0x2066 && character <= 0x2069);
}

void checkShown(std::string_view text)
{
    const std::string shown = qrx::shownText(text);
    require(qrx::shownText(shown) == shown, "a text that was filtered stays as it is");
    require(shown.size() >= text.size() && shown.size() <= 4 * text.size(), "nothing is lost");
    for (std::string_view rest = shown; !rest.empty();) {
        const std::size_t length = qrx::utf8Length(rest);
        require(length != 0, "what is shown is UTF-8");
        require(!steers(qrx::utf8Character(rest.substr(0, length))), "what is shown steers nothing");
        rest.remove_prefix(length);
    }
}

void checkRules(std::string_view file)
{
    std::size_t last = 0;
    std::size_t sum = 0;
    for (const qrxhid::RuleLine& line : qrxhid::ruleLines(file)) {
        require(line.number > last, "rules come in their order");
        last = line.number;
        for (const qrxhid::RulePart& part : line.parts) {
            require(!part.key.empty() && !part.operation.empty(), "a part has a key and an operation");
            sum += part.key.size() + part.attribute.size() + part.operation.size() + part.value.size();
        }
    }
    require(sum <= file.size(), "no more comes out than went in");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    checkShown(text);
    checkRules(text);
    return 0;
}
