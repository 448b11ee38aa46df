// Label masks as polygons, one line per frame.
#include <fcntl.h>

#include <nlohmann/json.hpp>
#include <set>

#include "files/json_text.h"
#include "files/name_text.h"
#include "files/result_names.h"
#include "forms/result_sink.h"
#include "things/polygon.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

ordered_json RingToJson(const std::vector<cv::Point>& ring) {
  ordered_json json = ordered_json::array();
  for (const cv::Point& point : ring) json.push_back({point.x, point.y});
  return json;
}

ordered_json PolygonsToJson(const cv::Mat& mask) {
  ordered_json json = ordered_json::array();
  for (const Polygon& polygon : FindPolygons(mask)) {
    ordered_json holes = ordered_json::array();
    for (const std::vector<cv::Point>& hole : polygon.holes) holes.push_back(RingToJson(hole));
    json.push_back({{"outer", RingToJson(polygon.outer)}, {"holes", std::move(holes)}});
  }
  return json;
}

class PolygonSink : public ResultSink {
 public:
  PolygonSink(const OutputFolder& folder, const Labels& labels)
      : labels_(labels), file_(folder.Claim(kPolygonsFile), O_TRUNC | O_NOFOLLOW) {}

  void Restore(const FoundFrame& found) override { Write(found); }

  void Write(const FoundFrame& found) override {
    const DirtyStatusResultData& result = found.outcome.result;
    ordered_json json;
    json["schema_version"] = kSchemaVersion;
    PutName("source", found.record.source, json);
    json["frame"] = found.record.frame;
    json["lossy"] = true;
    json["label_polygons"] = ordered_json::object();
    for (const auto& [label, mask] : result.label_masks) {
      json["label_polygons"][std::to_string(label)] = PolygonsToJson(mask);
    }
    json["label_names"] = NamesToJson(found.outcome);
    if (found.record.things) json["things"] = ThingsToJson(found);
    file_.Write(ToText(json) + "\n");
  }

  void Finish() override { file_.Finish(); }

 private:
  static ordered_json ThingsToJson(const FoundFrame& found) {
    ordered_json json = ordered_json::array();
    for (const Finding& thing : found.shown.findings) {
      ordered_json entry{{"label", thing.kind.label}};
      if (found.outcome.fece_candidates) entry["confirmed"] = thing.kind.is_confirmed;
      entry["score"] = thing.score;
      entry["polygons"] = PolygonsToJson(thing.WholeMask(found.record.fit.picture));
      json.push_back(std::move(entry));
    }
    return json;
  }

  // A label's mask is that of all its detections: it has both names if some were confirmed.
  ordered_json NamesToJson(const FrameOutcome& outcome) const {
    const std::vector<Kind> all = KindsOf(outcome, labels_);
    const std::set<Kind> kinds(all.begin(), all.end());
    ordered_json json = ordered_json::object();
    for (const Kind& kind : kinds) {
      const bool has_name =
          kinds.count({kind.label, true}) != 0 || labels_.FindName(kind.label) != nullptr;
      if (!has_name || outcome.result.label_masks.count(kind.label) == 0) continue;
      const auto [name, is_first] = json.emplace(std::to_string(kind.label), labels_.Text(kind));
      if (!is_first) *name = name->get<std::string>() + " and " + labels_.Text(kind);
    }
    return json;
  }

  const Labels& labels_;
  OutputFile file_;
};

}  // namespace

std::unique_ptr<ResultSink> MakePolygonSink(const OutputFolder& folder, const Labels& labels) {
  return std::make_unique<PolygonSink>(folder, labels);
}

}  // namespace dirty_seg
