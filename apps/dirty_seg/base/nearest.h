// Did-you-mean suggestions.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dirty_seg {

/// Minimum number of letters to insert, delete, replace, or swap with their neighbour to turn
/// `from` into `to`; no letter is changed twice.
int EditDistance(std::string_view from, std::string_view to);

/// The one of `words` that is nearest to `word`, if it is near enough for a typo: a third of the
/// letters, but at least one, and two in words of four letters and more. The first of several
/// equally near. A word that begins with `word` counts as near too if `word` has three letters or
/// more.
std::optional<std::string> Nearest(std::string_view word, const std::vector<std::string>& words);

/// "did you mean 'WORD'?", or empty if no word is near.
std::string NearestHint(std::string_view word, const std::vector<std::string>& words);

/// The same as the end of a sentence: "; did you mean 'WORD'?".
std::string DidYouMean(std::string_view word, const std::vector<std::string>& words);

}  // namespace dirty_seg
