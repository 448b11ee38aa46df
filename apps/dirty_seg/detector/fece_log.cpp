#include "detector/fece_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <utility>

#include "detector/labels.h"
#include "geometry/image_box.h"

namespace dirty_seg {
namespace {

// In the order of FeceVerdict.
constexpr std::array<const char*, 4> kVerdicts{"confirmed", "rejected", "not_checked", "failed"};

// The log of one candidate that the detector did not skip as too small.
struct Check {
  std::optional<cv::Rect> box;  // nothing for one that touches no pixel
  FeceVerdict verdict = FeceVerdict::kFailed;
  std::optional<float> score;
};

std::optional<Check> ReadBeginning(const LogEntry& entry) {
  constexpr const char* kNoPixel = "[FECE] Invalid bbox: ";
  if (entry.tag == "ERROR" && entry.message.rfind(kNoPixel, 0) == 0) return Check{};
  int x1 = 0;
  int y1 = 0;
  int x2 = 0;
  int y2 = 0;
  // NOLINTNEXTLINE(google-runtime-int,cert-err34-c): the library wrote these numbers
  if (std::sscanf(entry.message.c_str(), "[FECE] bbox=[%d, %d, %d, %d]", &x1, &y1, &x2, &y2) != 4) {
    return std::nullopt;
  }
  return Check{cv::Rect(cv::Point(x1, y1), cv::Point(x2, y2)), FeceVerdict::kFailed, {}};
}

struct Answer {
  float p1 = 0.0F;
  int class_id = 0;
};

// The library writes floats so that they read back to the bit.
std::optional<Answer> ReadAnswer(const LogEntry& entry) {
  Answer answer;
  // NOLINTNEXTLINE(cert-err34-c): the library wrote these numbers
  if (std::sscanf(entry.message.c_str(), "[FECE] logits=[%*f, %*f], prob=[%*f, %f], class_id=%d,",
                  &answer.p1, &answer.class_id) != 2) {
    return std::nullopt;
  }
  return answer;
}

// An answer that is not a number counts as none.
void Judge(const Answer& answer, const FeceRules& rules, Check& check) {
  if (std::isnan(answer.p1)) return;
  const bool is_confirmed = answer.class_id == 1 && answer.p1 > rules.score_threshold;
  check.verdict = is_confirmed ? FeceVerdict::kConfirmed : FeceVerdict::kRejected;
  check.score = answer.p1;
}

std::vector<Check> ReadChecks(const std::vector<LogEntry>& entries, const FeceRules& rules) {
  std::vector<Check> checks;
  for (const LogEntry& entry : entries) {
    if (const std::optional<Check> beginning = ReadBeginning(entry)) {
      checks.push_back(*beginning);
    } else if (const std::optional<Answer> answer = ReadAnswer(entry); answer && !checks.empty()) {
      Judge(*answer, rules, checks.back());
    }
  }
  return checks;
}

// Pairs detections with checks, both in order.
class Pairing {
 public:
  Pairing(std::vector<Check> checks, const FeceRules& rules)
      : checks_(std::move(checks)), rules_(rules) {}

  // Returns false if the checks do not match.
  bool Add(std::size_t detection, int label, const std::optional<cv::Rect>& box) {
    const bool has_class = std::find(rules_.class_ids.begin(), rules_.class_ids.end(), label) !=
                           rules_.class_ids.end();
    if (has_class && box && IsSmall(*box)) {
      candidates_.push_back({detection, FeceVerdict::kNotChecked, {}});
      return true;
    }
    const bool fits = next_ < checks_.size() && checks_[next_].box == box;
    const bool was_confirmed = fits && checks_[next_].verdict == FeceVerdict::kConfirmed;
    if (!has_class && !(label == kFeceLabel && was_confirmed)) return true;  // no candidate
    if (!fits) return false;
    candidates_.push_back({detection, checks_[next_].verdict, checks_[next_].score});
    ++next_;
    return true;
  }

  std::optional<std::vector<FeceCandidate>> Finish() && {
    if (next_ != checks_.size()) return std::nullopt;
    return std::move(candidates_);
  }

 private:
  bool IsSmall(const cv::Rect& box) const {
    return static_cast<float>(std::int64_t{box.width} * box.height) <= rules_.area_threshold;
  }

  std::vector<Check> checks_;
  const FeceRules& rules_;
  std::size_t next_ = 0;
  std::vector<FeceCandidate> candidates_;
};

}  // namespace

const char* VerdictText(FeceVerdict verdict) {
  return kVerdicts.at(static_cast<std::size_t>(verdict));
}

std::optional<FeceVerdict> VerdictOf(const std::string& text) {
  const auto* const found = std::find(kVerdicts.begin(), kVerdicts.end(), text);
  if (found == kVerdicts.end()) return std::nullopt;
  return static_cast<FeceVerdict>(found - kVerdicts.begin());
}

std::string VerdictTexts() {
  return fmt::format("{} or {}", fmt::join(kVerdicts.begin(), kVerdicts.end() - 1, ", "),
                     kVerdicts.back());
}

std::size_t CountNotANumberAnswers(const FrameLog& log) {
  return static_cast<std::size_t>(
      std::count_if(log.entries.begin(), log.entries.end(), [](const LogEntry& entry) {
        const std::optional<Answer> answer = ReadAnswer(entry);
        return answer && std::isnan(answer->p1);
      }));
}

std::optional<std::vector<FeceCandidate>> ReadFeceCandidates(const FrameLog& log,
                                                             const FeceRules& rules,
                                                             const cv::Size& picture_size,
                                                             const DirtyStatusResultData& result) {
  Pairing pairing(ReadChecks(log.entries, rules), rules);
  for (std::size_t i = 0; i < result.bboxes.size(); ++i) {
    const auto box = nuvik::geometry::ClampToImage(result.bboxes[i], picture_size);
    if (!pairing.Add(i, result.labels[i], box)) return std::nullopt;
  }
  return std::move(pairing).Finish();
}

}  // namespace dirty_seg
