#include "run/speed_line.h"

#include <array>
#include <cstdio>
#include <map>

namespace dirty_seg {
namespace {

std::string TimeText(double milliseconds) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.1fms", milliseconds);
  return text.data();
}

template <typename Number>
std::string Counted(std::size_t number, std::optional<Number> of) {
  return std::to_string(number) + (of ? "/" + std::to_string(*of) : "");
}

const char* KindText(InputKind kind) {
  if (kind == InputKind::kPicture) return "image ";
  return kind == InputKind::kVideo ? "video " : "camera ";
}

std::string FindingsText(const std::vector<Kind>& found, const Labels& labels) {
  std::map<Kind, std::size_t> counts;
  for (const Kind& kind : found) ++counts[kind];
  std::string text;
  for (const auto& [kind, count] : counts) {
    text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + labels.Text(kind);
  }
  return text.empty() ? "(no detections)" : text;
}

}  // namespace

std::string FrameLine(const Frame& frame, std::optional<std::size_t> inputs,
                      std::optional<std::int64_t> frames, const FrameRecord& record,
                      const Labels& labels) {
  std::string line = KindText(frame.kind) + Counted(frame.input + 1, inputs) + " ";
  if (frame.kind != InputKind::kPicture) {
    line += "(frame " + Counted(frame.ordinal + 1, frames) + ") ";
  }
  return line + frame.source + ": " + std::to_string(record.fit.picture.width) + "x" +
         std::to_string(record.fit.picture.height) + " " +
         FindingsText(KindsOf(record.outcome, labels), labels) + ", " +
         TimeText(record.outcome.total_ms);
}

std::string SpeedLine(const Summary& summary) {
  std::string line;
  for (const char* stage : {"preprocess", "inference", "postprocess", "convert"}) {
    const Distribution times = summary.TimesOf(stage);
    if (times.count == 0) return "";
    line += (line.empty() ? "Speed: " : ", ") + TimeText(times.mean) + " " + stage;
  }
  return line + " per frame";
}

}  // namespace dirty_seg
