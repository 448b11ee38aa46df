// Columns for a person to read.
#pragma once

#include <string>
#include <vector>

namespace dirty_seg {

/// `value` with so many digits behind the point.
std::string Fixed(double value, int decimals);

/// One line a row, each cell as wide as its column's widest, the first column flush left and the
/// others flush right, two blanks between. Bytes of UTF-8 that continue a character take no room. A
/// row may have fewer cells than others. Cells are made printable (printable.h).
std::string FormatTable(std::vector<std::vector<std::string>> rows);

}  // namespace dirty_seg
