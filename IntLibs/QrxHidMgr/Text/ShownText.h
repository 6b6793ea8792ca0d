#pragma once

#include <string>
#include <string_view>

namespace qrx {

/// A text that a device or a file chose, in a form that may be shown to a person: one line that moves no cursor, hides
/// nothing and reads in the order in which it is written. What would do otherwise is shown by its number instead:
/// - as "\x1b": ASCII control characters, line ends and tabs among them, and each byte that belongs to no character of
///   UTF-8;
/// - as "\u{202e}": the control characters U+0080 to U+009F, characters that change the direction of text, line and
///   paragraph separators, other invisible formatting characters, and characters without a meaning of their own
///   (private use, noncharacters).
/// All else is kept, backslashes too, so that a text that was filtered before stays as it is.
std::string shownText(std::string_view text);

} // namespace qrx
