#include "text/UnitText.h"

#include "text/TextFormat.h"

#include "QrxUsageNames.h"

namespace qrxhid {

std::string unitText(std::uint32_t unit, std::int32_t exponent)
{
    std::string text = exponent == 0 ? "" : exponent == 1 ? "10" : "10^" + std::to_string(exponent);
    if (unit != 0) {
        const std::string symbols = QrxGetUnitText(unit);
        text += (text.empty() ? "" : " ") + (symbols.empty() ? "unit " + hexText(unit, 1) : symbols);
    }
    return text;
}

} // namespace qrxhid
