// Text of others, such as the names of files, in a form that a terminal only shows.
#pragma once

#include <string>
#include <string_view>

namespace dirty_seg {

/// `text` on one line, without what a terminal would act on: a line break becomes "\n", a tab "\t",
/// any other control character and each byte that is not UTF-8 "\x1b". All else stays.
std::string Printable(std::string_view text);

/// The same for text of several lines, whose line breaks stay.
std::string PrintableLines(std::string_view text);

}  // namespace dirty_seg
