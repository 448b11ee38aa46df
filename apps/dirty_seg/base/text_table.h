// Plain-text tables.
#pragma once

#include <string>
#include <vector>

namespace dirty_seg {

/// `value` with that many digits after the decimal point.
std::string Fixed(double value, int decimals);

/// One line per row, each column as wide as its widest cell, the first aligned left and the others
/// right, two spaces between. Widths count characters of UTF-8, not bytes. A row may have fewer
/// cells than others. Cells are made printable (printable.h).
std::string FormatTable(std::vector<std::vector<std::string>> rows);

}  // namespace dirty_seg
