// Any bytes as a report descriptor: nothing crashes, and what comes out keeps the rules of a tree.

#include "HID/ElementTree.h"
#include "TreeInvariants.h"

#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace qrx::hid;
    // Below the default, so that the limits are met soon and an input takes no long time.
    Limits limits;
    limits.elements = 2048;
    limits.collectionDepth = 8;
    const std::span<const std::uint8_t> bytes(data, size);
    Descriptor descriptor = parseReportDescriptor(bytes, limits);
    const ElementTree tree = buildElementTree(descriptor, limits);
    if (const std::string broken = brokenInvariant(descriptor, tree, limits); !broken.empty()) {
        std::fprintf(stderr, "%s\n", broken.c_str());
        std::abort();
    }
    // The input is its own report: extraction reads anywhere, also past the end.
    for (const Element& element : tree.elements)
        extractValue(bytes, element.bitOffset, element.reportSize, element.min < 0);
    return 0;
}
