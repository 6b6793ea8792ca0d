#include "VPrintable"

#include <ostream>

namespace mis {

VPrintable::~VPrintable() = default;

void VPrintable::print(std::ostream& os, int depth, int indent) const
{
    // Three virtual steps, so that a derived class adds to the body only and the braces always match.
    _printHeader(os, indent);
    _printBody(os, depth, indent);
    _printFooter(os, indent);
}

void VPrintable::_printTabs(std::ostream& os, int count) const
{
    for (int written = 0; written < count; ++written) {
        os << '\t';
    }
}

void VPrintable::_printHeader(std::ostream& os, int) const
{
    os << "{";
}

void VPrintable::_printBody(std::ostream& os, int, int) const
{
    os << " object id = " << _objectID(this) << " ";
}

void VPrintable::_printFooter(std::ostream& os, int) const
{
    os << "}";
}

} // namespace mis
