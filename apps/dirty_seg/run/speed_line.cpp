#include "run/speed_line.h"

#include <fmt/format.h>

#include <map>
#include <vector>

#include "base/text.h"
#include "results/stages.h"

namespace dirty_seg {
namespace {

std::string TimeText(double milliseconds) { return fmt::format("{:.1f}ms", milliseconds); }

// "2/7", or "2" where the second is not known.
template <typename Number>
std::string NumberOf(std::size_t number, std::optional<Number> of) {
  return of ? fmt::format("{}/{}", number, *of) : std::to_string(number);
}

const char* KindText(InputKind kind) {
  if (kind == InputKind::kPicture) return "image";
  return kind == InputKind::kVideo ? "video" : "camera";
}

std::string DetectionsText(const std::vector<Kind>& found, const Labels& labels) {
  std::map<Kind, std::size_t> counts;
  for (const Kind& kind : found) ++counts[kind];
  if (counts.empty()) return "(no detections)";
  return JoinEach(counts, [&labels](const auto& entry) {
    return fmt::format("{} {}", entry.second, labels.Text(entry.first));
  });
}

std::vector<Kind> ListedKinds(const FrameRecord& record, const Labels& labels) {
  if (!record.things) return KindsOf(record.outcome, labels);
  std::vector<Kind> kinds;
  for (const Thing& thing : *record.things) kinds.push_back(thing.kind);
  return kinds;
}

}  // namespace

std::string FrameLine(const Frame& frame, std::optional<std::size_t> inputs,
                      std::optional<std::int64_t> frames, const FrameRecord& record,
                      const Labels& labels) {
  std::string line = fmt::format("{} {} ", KindText(frame.kind), NumberOf(frame.input + 1, inputs));
  if (frame.kind != InputKind::kPicture) {
    line += fmt::format("(frame {}) ", NumberOf(frame.ordinal + 1, frames));
  }
  const cv::Size& size = record.fit.picture;
  return line + fmt::format("{}: {}x{} {}, {}", frame.source, size.width, size.height,
                            DetectionsText(ListedKinds(record, labels), labels),
                            TimeText(record.outcome.total_ms));
}

std::string SpeedLine(const Summary& summary) {
  std::vector<std::string> texts;
  for (const char* stage : kDetectorStages) {
    const Distribution times = summary.TimesOf(stage);
    if (times.count == 0) continue;
    texts.push_back(fmt::format("{} {}", TimeText(times.mean), stage));
  }
  if (texts.empty()) return "";
  return fmt::format("Speed: {} per frame", fmt::join(texts, ", "));
}

}  // namespace dirty_seg
