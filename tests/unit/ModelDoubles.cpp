#include "ModelDoubles.h"

#include <regex>

std::string printed(mis::VPrintable const& object, int depth, int indent)
{
    std::ostringstream stream;
    object.print(stream, depth, indent);
    static std::regex const objectID("object id = [0-9]+");
    return std::regex_replace(stream.str(), objectID, "object id = #");
}

std::string bytesText(std::valarray<uint8_t> const& bytes)
{
    std::string text;
    for (uint8_t const byte : bytes)
        text += (text.empty() ? "" : " ") + std::to_string(byte);
    return text;
}
