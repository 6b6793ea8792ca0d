#include "ModelDoubles.h"

#include <regex>

std::string printed(const mis::VPrintable& object, int depth, int indent)
{
    std::ostringstream stream;
    object.print(stream, depth, indent);
    static const std::regex objectID("object id = [0-9]+");
    return std::regex_replace(stream.str(), objectID, "object id = #");
}

std::string bytesText(const std::valarray<uint8_t>& bytes)
{
    std::string text;
    for (const uint8_t byte : bytes)
        text += (text.empty() ? "" : " ") + std::to_string(byte);
    return text;
}
