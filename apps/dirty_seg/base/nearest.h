// Which word somebody meant who wrote another.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace dirty_seg {

/// Least number of letters inserted, left out, exchanged, or swapped with their neighbour that
/// makes `to` of `from`; no letter is changed twice.
int EditDistance(std::string_view from, std::string_view to);

/// That of `words` which is nearest to `word` where one is near enough to be a slip: a third of the
/// letters, two at the least for words of four and more. The first among equals. A word that begins
/// with `word`, three letters or more of it, counts as near too.
std::optional<std::string> Nearest(std::string_view word, const std::vector<std::string>& words);

/// "did you mean 'WORD'?", or nothing where no word is near.
std::string NearestHint(std::string_view word, const std::vector<std::string>& words);

/// The same as the end of a sentence: "; did you mean 'WORD'?".
std::string DidYouMean(std::string_view word, const std::vector<std::string>& words);

}  // namespace dirty_seg
