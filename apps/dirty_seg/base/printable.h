// Text from outside, such as file names, made safe to print on a terminal.
#pragma once

#include <string>
#include <string_view>

namespace dirty_seg {

/// `text` on one line, with everything escaped that a terminal would act on: a line break becomes
/// "\n", a tab "\t", any other control character and each byte that is not valid UTF-8 "\x1b". The
/// rest is unchanged.
std::string Printable(std::string_view text);

/// The same for text of several lines, whose line breaks are kept.
std::string PrintableLines(std::string_view text);

}  // namespace dirty_seg
