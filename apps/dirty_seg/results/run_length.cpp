#include "results/run_length.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <vector>

#include "base/mask_bounds.h"

namespace dirty_seg {
namespace {

constexpr int kGroupBits = 5;
constexpr std::int64_t kGroupMask = 0x1f;
constexpr std::int64_t kSign = 0x10;
constexpr std::int64_t kMore = 0x20;
constexpr std::int64_t kFirstCharacter = 48;
// Enough for any number of 64 bits that an encoder writes in its shortest form.
constexpr int kMaxGroups = 12;
// Lengths before this index are stored as they are.
constexpr std::size_t kFirstDifference = 3;

// cv::Mat::t refuses a matrix without pixels.
cv::Mat Transposed(const cv::Mat& matrix) {
  if (matrix.empty()) return cv::Mat(matrix.cols, matrix.rows, matrix.type());
  return matrix.t();
}

// Where the run of values like the first one ends; most runs are long, so eight at a time.
const std::uint8_t* EndOfRun(const std::uint8_t* pixel, const std::uint8_t* end) {
  const bool is_set = *pixel != 0;
  const std::uint64_t alike = std::uint64_t{*pixel} * 0x0101010101010101U;
  std::uint64_t eight = alike;
  while (end - pixel >= 8 && (std::memcpy(&eight, pixel, 8), eight == alike)) pixel += 8;
  return std::find_if(pixel, end, [is_set](std::uint8_t value) { return (value != 0) != is_set; });
}

// Alternating runs, zeros first.
class Runs {
 public:
  void Add(bool is_set, std::int64_t length) {
    if (length == 0) return;
    const bool is_last_set = counts_.size() % 2 == 0;
    if (is_set != is_last_set) counts_.push_back(0);
    counts_.back() += length;
  }

  const std::vector<std::int64_t>& counts() const { return counts_; }

 private:
  std::vector<std::int64_t> counts_{0};
};

// The last length is never 0 unless it is the only one. Only what bounds the set pixels is looked
// at column by column.
std::vector<std::int64_t> CountRuns(const cv::Mat& part, const cv::Point& at,
                                    const cv::Size& whole) {
  const cv::Rect set = MaskBounds(part);
  const cv::Mat columns = Transposed(part(set));  // its rows are columns
  const cv::Rect box = set + at;
  Runs runs;
  runs.Add(false, std::int64_t{box.x} * whole.height);
  for (int x = 0; x < columns.rows; ++x) {
    runs.Add(false, box.y);
    const std::uint8_t* pixel = columns.ptr(x);
    const std::uint8_t* const end = pixel + columns.cols;
    while (pixel != end) {
      const std::uint8_t* const next = EndOfRun(pixel, end);
      runs.Add(*pixel != 0, next - pixel);
      pixel = next;
    }
    runs.Add(false, whole.height - box.br().y);
  }
  runs.Add(false, std::int64_t{whole.width - box.br().x} * whole.height);
  return runs.counts();
}

void AppendNumber(std::int64_t number, std::string& text) {
  bool more = true;
  while (more) {
    std::int64_t group = number & kGroupMask;
    number >>= kGroupBits;
    more = number != ((group & kSign) != 0 ? -1 : 0);
    if (more) group |= kMore;
    text.push_back(static_cast<char>(group + kFirstCharacter));
  }
}

[[noreturn]] void Reject(const std::string& what, std::size_t position) {
  throw std::invalid_argument(fmt::format("run lengths, character {}: {}", position, what));
}

// Reads the number that begins at `position` and moves `position` past it.
std::int64_t ReadNumber(const std::string& text, std::size_t& position) {
  std::int64_t number = 0;
  for (int i = 0; i < kMaxGroups; ++i) {
    if (position == text.size()) Reject("the text ends within a number", position);
    const std::int64_t group = text[position] - kFirstCharacter;
    if (group < 0 || group >= 2 * kMore) Reject("expected one of '0' to 'o'", position);
    ++position;
    number += (group & kGroupMask) * (std::int64_t{1} << (kGroupBits * i));
    if ((group & kMore) != 0) continue;
    if ((group & kSign) != 0) number -= std::int64_t{1} << (kGroupBits * (i + 1));
    return number;
  }
  Reject("the number is too long", position);
}

}  // namespace

RunLengths EncodeRunLengths(const cv::Mat& mask) {
  return EncodeRunLengths(mask, {0, 0}, mask.size());
}

RunLengths EncodeRunLengths(const cv::Mat& part, const cv::Point& at, const cv::Size& whole) {
  const std::vector<std::int64_t> counts = CountRuns(part, at, whole);
  RunLengths result{whole.height, whole.width, {}};
  for (std::size_t i = 0; i < counts.size(); ++i) {
    AppendNumber(i < kFirstDifference ? counts[i] : counts[i] - counts[i - 2], result.counts);
  }
  return result;
}

cv::Mat DecodeRunLengths(const RunLengths& run_lengths) {
  if (run_lengths.width < 0 || run_lengths.height < 0) {
    throw std::invalid_argument(
        fmt::format("run lengths of {} x {} pixels; expected no side below 0", run_lengths.height,
                    run_lengths.width));
  }
  cv::Mat columns = cv::Mat::zeros(run_lengths.width, run_lengths.height, CV_8UC1);
  std::uint8_t* pixel = columns.ptr();
  auto left = static_cast<std::int64_t>(columns.total());
  std::vector<std::int64_t> counts;
  std::size_t position = 0;
  while (position < run_lengths.counts.size()) {
    const std::int64_t number = ReadNumber(run_lengths.counts, position);
    const std::size_t i = counts.size();
    const std::int64_t count = i < kFirstDifference ? number : counts[i - 2] + number;
    if (count < 0 || count > left) {
      Reject(fmt::format("a run of {} pixels where {} are left", count, left), position);
    }
    std::fill_n(pixel, count, static_cast<std::uint8_t>(i % 2 == 0 ? 0 : 255));
    pixel += count;
    left -= count;
    counts.push_back(count);
  }
  if (left != 0) Reject(fmt::format("ends {} pixels early", left), position);
  return Transposed(columns);
}

nlohmann::ordered_json RunLengthsToJson(const RunLengths& run_lengths) {
  return {{"size", {run_lengths.height, run_lengths.width}}, {"counts", run_lengths.counts}};
}

}  // namespace dirty_seg
