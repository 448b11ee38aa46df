// COCO's results format, and the list of images and categories that goes with it.
#include <fmt/format.h>

#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "files/json_text.h"
#include "files/name_text.h"
#include "files/result_names.h"
#include "forms/coco.h"
#include "forms/result_sink.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

constexpr const char* kDescription =
    "Detections of dirty_seg, in pixels of their picture. A detection's segmentation is the mask "
    "of all detections of its label, cut to its box.";
constexpr const char* kThingsDescription =
    "Things that dirty_seg found, in pixels of their picture. What several patches show of one "
    "thing is one entry.";

class CocoSink : public ResultSink {
 public:
  CocoSink(const OutputFolder& folder, const Labels& labels)
      : labels_(labels),
        results_(folder.Claim(kCocoResultsFile)),
        images_path_(folder.Claim(kCocoImagesFile)) {
    results_.Write("[");
    for (const auto& [label, name] : labels.names()) categories_[label] = name;
    if (!labels.share_faeces_label()) return;
    const Kind confirmed{kFeceLabel, true};
    categories_[labels.IdOf(confirmed)] = labels.Text(confirmed);
  }

  void Restore(const FoundFrame& found) override { Write(found); }

  void Write(const FoundFrame& found) override {
    const cv::Size picture = found.record.fit.picture;
    const std::size_t image_id = images_.size() + 1;
    has_things_ = found.record.things.has_value();
    std::string text;
    for (const Finding& finding : found.shown.findings) {
      if (!finding.is_in_picture) continue;
      const std::int64_t category_id = labels_.IdOf(finding.kind);
      text += (is_first_ && text.empty() ? "\n" : ",\n") +
              ToText(CocoResult(finding, picture, image_id, category_id));
      categories_[category_id] = labels_.Text(finding.kind);
    }
    results_.Write(text);
    is_first_ = is_first_ && text.empty();
    ordered_json image{{"id", image_id}};
    PutName("file_name", found.frame.source, image);
    image["frame"] = found.frame.index;
    image["height"] = picture.height;
    image["width"] = picture.width;
    images_.push_back(std::move(image));
  }

  void Finish() override {
    results_.Write("\n]\n");
    results_.Keep();
    ordered_json json;
    json["info"] = {{"description", Description()}};
    json["images"] = std::move(images_);
    json["categories"] = ordered_json::array();
    for (const auto& [id, name] : categories_) {
      json["categories"].push_back({{"id", id}, {"name", name}});
    }
    WriteWholeFile(images_path_, ToIndentedText(json));
  }

 private:
  std::string Description() const {
    const char* const entries = has_things_ ? kThingsDescription : kDescription;
    if (!labels_.share_faeces_label()) return entries;
    return fmt::format(
        "{} The network has a class {} of its own, which keeps that id; what the classifier "
        "confirmed has the category {}.",
        entries, kFeceLabel, labels_.IdOf({kFeceLabel, true}));
  }

  const Labels& labels_;
  WholeFile results_;
  std::string images_path_;
  bool is_first_ = true;
  bool has_things_ = false;
  ordered_json images_ = ordered_json::array();
  std::map<std::int64_t, std::string> categories_;
};

}  // namespace

std::unique_ptr<ResultSink> MakeCocoSink(const OutputFolder& folder, const Labels& labels) {
  return std::make_unique<CocoSink>(folder, labels);
}

}  // namespace dirty_seg
