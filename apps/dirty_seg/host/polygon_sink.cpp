// Label masks as polygons, a line a frame.
#include "host/instance_mask.h"
#include "host/result_sink.h"

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
      : labels_(labels), file_(folder, "polygons.jsonl") {}

  void Write(const FoundFrame& found) override {
    const DirtyStatusResultData& result = found.result;
    ordered_json json;
    json["schema_version"] = kSchemaVersion;
    json["source"] = found.record.source;
    json["frame"] = found.record.frame;
    json["lossy"] = true;
    json["label_polygons"] = ordered_json::object();
    std::set<int> present;
    for (const auto& [label, mask] : result.label_masks) {
      json["label_polygons"][std::to_string(label)] = PolygonsToJson(mask);
      present.insert(label);
    }
    json["label_names"] = LabelNamesToJson(present, labels_);
    file_.Write(ToText(json) + "\n");
  }

  void Finish() override { file_.Close(); }

 private:
  const Labels& labels_;
  OutputFile file_;
};

}  // namespace

std::unique_ptr<ResultSink> MakePolygonSink(const OutputFolder& folder, const Labels& labels) {
  return std::make_unique<PolygonSink>(folder, labels);
}

}  // namespace dirty_seg
