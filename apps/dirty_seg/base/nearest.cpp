#include "base/nearest.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>

namespace dirty_seg {
namespace {

// Maximum edit distance for a typo in a word of that length.
int Tolerance(std::size_t length) {
  if (length < 4) return 1;
  return std::max(2, static_cast<int>(length / 3));
}

}  // namespace

int EditDistance(std::string_view from, std::string_view to) {
  // Cost of turning the first i - 2, i - 1 and i letters of `from` into the first j of `to`.
  std::array<std::vector<int>, 3> rows;
  for (std::vector<int>& row : rows) row.resize(to.size() + 1);
  for (std::size_t j = 0; j <= to.size(); ++j) rows[2][j] = static_cast<int>(j);
  for (std::size_t i = 1; i <= from.size(); ++i) {
    std::rotate(rows.begin(), rows.begin() + 1, rows.end());
    rows[2][0] = static_cast<int>(i);
    for (std::size_t j = 1; j <= to.size(); ++j) {
      const int exchanged = rows[1][j - 1] + (from[i - 1] == to[j - 1] ? 0 : 1);
      rows[2][j] = std::min({rows[1][j] + 1, rows[2][j - 1] + 1, exchanged});
      if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
        rows[2][j] = std::min(rows[2][j], rows[0][j - 2] + 1);
      }
    }
  }
  return rows[2][to.size()];
}

std::optional<std::string> Nearest(std::string_view word, const std::vector<std::string>& words) {
  std::optional<std::string> nearest;
  int least = Tolerance(word.size()) + 1;
  for (const std::string& candidate : words) {
    const bool is_begun = word.size() >= 3 && candidate.compare(0, word.size(), word) == 0;
    const int distance = is_begun ? 1 : EditDistance(word, candidate);
    if (distance >= least) continue;
    least = distance;
    nearest = candidate;
  }
  return nearest;
}

std::string NearestHint(std::string_view word, const std::vector<std::string>& words) {
  const std::optional<std::string> nearest = Nearest(word, words);
  return nearest ? fmt::format("did you mean '{}'?", *nearest) : "";
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& words) {
  const std::string hint = NearestHint(word, words);
  return hint.empty() ? "" : "; " + hint;
}

}  // namespace dirty_seg
