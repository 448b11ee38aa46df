#include "base/text_table.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/printable.h"

namespace dirty_seg {
namespace {

std::size_t Width(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0U) != 0x80U;
  }));
}

}  // namespace

std::string Fixed(double value, int decimals) { return fmt::format("{:.{}f}", value, decimals); }

std::string FormatTable(std::vector<std::vector<std::string>> rows) {
  std::vector<std::size_t> widths;
  for (auto& row : rows) {
    for (std::string& cell : row) cell = Printable(cell);
    widths.resize(std::max(widths.size(), row.size()));
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], Width(row[i]));
  }
  std::string text;
  for (const auto& row : rows) {
    std::string line;
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::string blanks(widths[i] - Width(row[i]), ' ');
      line += i == 0 ? row[i] + blanks : "  " + blanks + row[i];
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  }
  return text;
}

}  // namespace dirty_seg
