// Comparing scores with a threshold. The kernels take pointers and sizes; they allocate nothing,
// log nothing and never throw. Not-a-number is not at most anything, and not above anything.
#pragma once

#include <cstdint>

namespace nuvik::model {

/// Scores that are looked at more closely together, and of them those that share a word of marks.
inline constexpr int kScoresInRun = 512;
inline constexpr int kScoresInWord = 64;

/// Whether all of `count` numbers are at most `limit`.
bool AreAtMost(const float* numbers, int count, float limit);

/// The beginning of the next run that has a number which is not at most `limit`; `count` or more
/// where none has. Runs begin at `first` and every kScoresInRun numbers after it; the last one of
/// the `count` numbers may be shorter.
int NextRunAbove(const float* numbers, int first, int count, float limit);

/// Sets bit i % kScoresInWord of marks[i / kScoresInWord] where number i is above `limit`, and
/// keeps the other bits. Returns whether all `count` numbers are finite.
bool MarkAbove(const float* numbers, int count, float limit, std::uint64_t* marks);

}  // namespace nuvik::model
