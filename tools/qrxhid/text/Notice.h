#pragma once

#include "Text/ShownText.h"

#include <iostream>
#include <string_view>

namespace qrxhid {

// What others chose (devices, files, the command line) reaches a person through this alone.
using qrx::shownText;

/// Tells a person something in one line of standard error.
inline void notice(std::string_view text)
{
    std::cerr << "qrxhid: " << shownText(text) << "\n";
}

} // namespace qrxhid
