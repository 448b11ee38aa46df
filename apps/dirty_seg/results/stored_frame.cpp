#include "results/stored_frame.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "base/base64.h"
#include "base/errors.h"
#include "geometry/letterbox.h"
#include "results/frame_record.h"

namespace dirty_seg {
namespace {

using nlohmann::json;

// Limit for a mask: no camera has more, and a hostile file must not take all memory.
constexpr std::int64_t kMaxPixels = std::int64_t{1} << 28;
constexpr std::size_t kMaxText = 40;  // of a value in a message
constexpr int kMaxDepth = 16;

std::string Text(const json& value) {
  std::string text = value.dump(-1, ' ', false, json::error_handler_t::replace);
  if (text.size() > kMaxText) text = text.substr(0, kMaxText) + "...";
  return text;
}

std::string Item(const std::string& key, std::size_t i) { return fmt::format("{}[{}]", key, i); }

// Reads the values of one line. `key` is the place of a value, for messages.
class LineReader {
 public:
  LineReader(const std::string& file, std::size_t line) : file_(file), line_(line) {}

  StoredFrame Read(const std::string& text) const {
    const json root = Parse(text);
    StoredFrame frame;
    frame.file = file_;
    frame.line = line_;
    CheckVersion(root);
    frame.source = Source(root);
    if (const json* number = Find(root, "frame")) frame.frame = Number(*number, "frame");
    if (const json* success = Find(root, "success")) frame.success = Bool(*success, "success");
    frame.message = OptionalString(root, "message");
    frame.detections = Detections(root);
    if (const json* confirmed = Find(root, "confirmed")) {
      frame.confirmed = Bools(*confirmed, "confirmed", frame.detections.size());
    }
    if (const json* counts = Find(root, "mask_pixel_counts")) {
      frame.mask_pixel_counts = Floats(*counts, "mask_pixel_counts");
    }
    if (const json* masks = Find(root, "label_masks")) frame.masks = Masks(*masks);
    if (const json* names = Find(root, "label_names")) frame.label_names = Names(*names);
    if (const json* candidates = Find(root, "fece_candidates")) {
      frame.candidates = Candidates(*candidates, frame.detections.size());
      frame.has_candidates = true;
    }
    if (const json* things = Find(root, "things")) {
      frame.things = Things(*things, frame.detections.size());
    }
    if (const json* counts = Find(root, "non_finite")) frame.non_finite = NonFinite(*counts);
    if (frame.has_candidates && Find(root, "confirmed") == nullptr) {
      frame.confirmed = ConfirmedOf(frame);
    }
    if (const json* times = Find(root, "timing_ms")) frame.timing_ms = Times(*times);
    if (const json* size = Find(root, "image_size")) frame.image_size = Size(*size, "image_size");
    if (const json* fit = Find(root, "fit")) frame.fit = Fit(*fit, frame);
    frame.overlay = OptionalString(root, "overlay");
    return frame;
  }

 private:
  [[noreturn]] void Reject(const std::string& what) const {
    throw SetupError(LinePlace(file_, line_) + what);
  }

  [[noreturn]] void Reject(const std::string& key, const json& found, const char* expected) const {
    Reject(fmt::format("{} is {}; expected {}", key, Text(found), expected));
  }

  json Parse(const std::string& text) const {
    // Values are printed by recursion, so their depth is limited.
    const auto check_depth = [this](int depth, json::parse_event_t, const json&) {
      if (depth > kMaxDepth) Reject(fmt::format("has more than {} levels", kMaxDepth));
      return true;
    };
    json root;
    try {
      root = json::parse(text, check_depth);
    } catch (const json::parse_error& error) {
      Reject(fmt::format("is not valid JSON near character {}; expected one object per line",
                         error.byte));
    } catch (const json::out_of_range&) {
      Reject("has a number that is too large");
    }
    if (!root.is_object()) Reject(fmt::format("is {}; expected one object per line", Text(root)));
    return root;
  }

  // Null when the key is missing.
  static const json* Find(const json& object, const char* key) {
    const auto entry = object.find(key);
    return entry == object.end() ? nullptr : &*entry;
  }

  const json& Required(const json& object, const char* key, const std::string& parent = "") const {
    const json* value = Find(object, key);
    if (value == nullptr) Reject(parent + key + " is missing");
    return *value;
  }

  void CheckVersion(const json& root) const {
    const json* version = Find(root, "schema_version");
    if (version == nullptr || Number(*version, "schema_version") <= kSchemaVersion) return;
    Reject(fmt::format("schema_version is {}; this program reads up to {}", Text(*version),
                       kSchemaVersion));
  }

  std::string String(const json& value, const std::string& key) const {
    if (!value.is_string()) Reject(key, value, "a string");
    return value.get<std::string>();
  }

  std::string OptionalString(const json& object, const char* key,
                             const std::string& parent = "") const {
    const json* value = Find(object, key);
    return value == nullptr ? "" : String(*value, parent + key);
  }

  // From the bytes, if the name is not valid UTF-8.
  std::string Source(const json& root) const {
    std::string text = String(Required(root, "source"), "source");
    const json* coded = Find(root, "source_bytes");
    if (coded == nullptr) return text;
    const std::optional<std::string> bytes = BytesOfBase64(String(*coded, "source_bytes"));
    if (!bytes) Reject("source_bytes", *coded, "Base64");
    return *bytes;
  }

  bool Bool(const json& value, const std::string& key) const {
    if (!value.is_boolean()) Reject(key, value, "true or false");
    return value.get<bool>();
  }

  // A whole number from 0.
  std::int64_t Number(const json& value, const std::string& key) const {
    if (!value.is_number_unsigned() ||
        value.get<std::uint64_t>() > std::uint64_t{std::numeric_limits<std::int64_t>::max()}) {
      Reject(key, value, "a whole number from 0");
    }
    return value.get<std::int64_t>();
  }

  double Double(const json& value, const std::string& key) const {
    if (!value.is_number()) Reject(key, value, "a number");
    return value.get<double>();
  }

  float Float(const json& value, const std::string& key) const {
    const double number = Double(value, key);
    if (std::abs(number) > double{std::numeric_limits<float>::max()}) {
      Reject(key, value, "a number that 32 bits hold");
    }
    return static_cast<float>(number);
  }

  // JSON has no not-a-number.
  float Score(const json& value, const std::string& key) const {
    return value.is_null() ? std::numeric_limits<float>::quiet_NaN() : Float(value, key);
  }

  int Label(const json& value, const std::string& key) const {
    constexpr std::int64_t kMax = std::numeric_limits<int>::max();
    constexpr std::int64_t kMin = std::numeric_limits<int>::min();
    const bool is_whole = value.is_number_integer();
    const bool is_huge = value.is_number_unsigned() && value.get<std::uint64_t>() > kMax;
    if (!is_whole || is_huge || value.get<std::int64_t>() < kMin) {
      Reject(key, value, "a class id");
    }
    return value.get<int>();
  }

  const json& Array(const json& value, const std::string& key) const {
    if (!value.is_array()) Reject(key, value, "a list");
    return value;
  }

  const json& Object(const json& value, const std::string& key) const {
    if (!value.is_object()) Reject(key, value, "an object");
    return value;
  }

  std::vector<float> Floats(const json& value, const std::string& key) const {
    std::vector<float> numbers;
    for (const json& item : Array(value, key)) {
      numbers.push_back(Float(item, Item(key, numbers.size())));
    }
    return numbers;
  }

  std::vector<bool> Bools(const json& value, const std::string& key, std::size_t count) const {
    std::vector<bool> values;
    for (const json& item : Array(value, key)) {
      values.push_back(Bool(item, Item(key, values.size())));
    }
    if (values.size() != count) {
      Reject(fmt::format("{} has {} entries and labels {}; expected as many of each", key,
                         values.size(), count));
    }
    return values;
  }

  std::vector<Detection> Detections(const json& root) const {
    const json& boxes = Array(Required(root, "bboxes"), "bboxes");
    const json& scores = Array(Required(root, "scores"), "scores");
    const json& labels = Array(Required(root, "labels"), "labels");
    if (boxes.size() != scores.size() || boxes.size() != labels.size()) {
      Reject(fmt::format("{} bboxes, {} scores and {} labels; expected as many of each",
                         boxes.size(), scores.size(), labels.size()));
    }
    std::vector<Detection> detections(boxes.size());
    for (std::size_t i = 0; i < detections.size(); ++i) {
      Detection& detection = detections[i];
      detection.box = Box(boxes[i], Item("bboxes", i));
      detection.score = Score(scores[i], Item("scores", i));
      detection.label = Label(labels[i], Item("labels", i));
    }
    return detections;
  }

  std::array<float, 4> Box(const json& value, const std::string& key) const {
    const std::vector<float> edges = Floats(value, key);
    std::array<float, 4> box{};
    if (edges.size() != box.size()) Reject(key, value, "[x1, y1, x2, y2]");
    std::copy(edges.begin(), edges.end(), box.begin());
    return box;
  }

  // `count` is that of the frame's detections.
  std::vector<StoredThing> Things(const json& value, std::size_t count) const {
    std::vector<StoredThing> things;
    for (const json& entry : Array(value, "things")) {
      const std::string key = Item("things", things.size()) + ".";
      Object(entry, Item("things", things.size()));
      StoredThing thing;
      thing.detection.box = Box(Required(entry, "bbox", key), key + "bbox");
      thing.detection.score = Score(Required(entry, "score", key), key + "score");
      thing.detection.label = Label(Required(entry, "label", key), key + "label");
      const json* confirmed = Find(entry, "confirmed");
      if (confirmed != nullptr) thing.is_confirmed = Bool(*confirmed, key + "confirmed");
      for (const json& member : Array(Required(entry, "members", key), key + "members")) {
        const std::string place = Item(key + "members", thing.members.size());
        thing.members.push_back(static_cast<std::size_t>(Number(member, place)));
        if (thing.members.back() >= count) Reject(place, member, "the index of one of bboxes");
      }
      thing.run_lengths = Rle(Required(entry, "rle", key), key + "rle");
      things.push_back(std::move(thing));
    }
    return things;
  }

  RunLengths Rle(const json& value, const std::string& key) const {
    const json& rle = Object(value, key);
    const cv::Size size = Size(Required(rle, "size", key + "."), key + ".size");
    return {size.height, size.width, String(Required(rle, "counts", key + "."), key + ".counts")};
  }

  // A label as the key of an object.
  int LabelKey(const std::string& text, const std::string& key) const {
    const json number = json::parse(text, nullptr, false);
    return Label(number.is_number_integer() ? number : json(text), "a key of " + key);
  }

  std::map<int, StoredMask> Masks(const json& value) const {
    std::map<int, StoredMask> masks;
    for (const auto& [text, entry] : Object(value, "label_masks").items()) {
      const std::string key = "label_masks." + text;
      StoredMask& mask = masks[LabelKey(text, "label_masks")];
      mask.file = OptionalString(Object(entry, key), "file", key + ".");
      const json* pixels = Find(entry, "pixels");
      if (pixels != nullptr) mask.pixels = Number(*pixels, key + ".pixels");
      mask.run_lengths = Rle(Required(entry, "rle", key + "."), key + ".rle");
    }
    return masks;
  }

  // [height, width].
  cv::Size Size(const json& value, const std::string& key) const {
    const char* expected = "[height, width], at most 2^28 pixels";
    if (Array(value, key).size() != 2) Reject(key, value, expected);
    const std::int64_t height = Number(value[0], Item(key, 0));
    const std::int64_t width = Number(value[1], Item(key, 1));
    if (height > kMaxPixels || width > kMaxPixels || height * width > kMaxPixels) {
      Reject(key, value, expected);
    }
    return {static_cast<int>(width), static_cast<int>(height)};
  }

  // Lines older than the key only have the verdicts.
  static std::vector<bool> ConfirmedOf(const StoredFrame& frame) {
    std::vector<bool> confirmed(frame.detections.size());
    for (const StoredCandidate& candidate : frame.candidates) {
      const bool is_confirmed = candidate.verdict == VerdictText(FeceVerdict::kConfirmed);
      if (is_confirmed) confirmed[candidate.detection] = true;
    }
    return confirmed;
  }

  FrameFit Fit(const json& value, const StoredFrame& frame) const {
    const cv::Size whole = nuvik::geometry::FrameSize();
    if (!frame.image_size || frame.image_size->empty()) {
      Reject("fit is given without the picture's image_size");
    }
    const json& size = Required(Object(value, "fit"), "size", "fit.");
    const cv::Size placed = Size(size, "fit.size");
    if (placed.empty() || placed.width > whole.width || placed.height > whole.height) {
      Reject("fit.size", size, "[height, width] from [1, 1] to [1080, 1920]");
    }
    for (const auto& [label, mask] : frame.masks) {
      const cv::Size mask_size(mask.run_lengths.width, mask.run_lengths.height);
      if (mask_size == whole) continue;
      Reject(fmt::format("label_masks.{}.rle.size is not [1080, 1920], the frame's", label));
    }
    for (const StoredThing& thing : frame.things.value_or(std::vector<StoredThing>{})) {
      const cv::Size mask_size(thing.run_lengths.width, thing.run_lengths.height);
      if (mask_size != whole) Reject("the rle.size of a thing is not [1080, 1920], the frame's");
    }
    const double scale = Double(Required(value, "scale", "fit."), "fit.scale");
    return {*frame.image_size, placed, scale};
  }

  std::map<int, std::string> Names(const json& value) const {
    std::map<int, std::string> names;
    for (const auto& [text, name] : Object(value, "label_names").items()) {
      names[LabelKey(text, "label_names")] = String(name, "label_names." + text);
    }
    return names;
  }

  std::vector<StoredCandidate> Candidates(const json& value, std::size_t count) const {
    std::vector<StoredCandidate> candidates;
    for (const json& entry : Array(value, "fece_candidates")) {
      const std::string key = Item("fece_candidates", candidates.size());
      Object(entry, key);
      StoredCandidate candidate;
      const json& index = Required(entry, "detection", key + ".");
      candidate.detection = static_cast<std::size_t>(Number(index, key + ".detection"));
      if (candidate.detection >= count) {
        Reject(key + ".detection", index, "the index of one of bboxes");
      }
      candidate.verdict = Verdict(Required(entry, "verdict", key + "."), key + ".verdict");
      const json* score = Find(entry, "score");
      if (score != nullptr && !score->is_null()) candidate.score = Double(*score, key + ".score");
      candidates.push_back(std::move(candidate));
    }
    return candidates;
  }

  std::map<std::string, std::int64_t> NonFinite(const json& value) const {
    std::map<std::string, std::int64_t> counts;
    for (const auto& [output, count] : Object(value, "non_finite").items()) {
      counts[output] = Number(count, "non_finite." + output);
    }
    return counts;
  }

  std::string Verdict(const json& value, const std::string& key) const {
    if (value.is_string() && VerdictOf(value.get<std::string>())) return value.get<std::string>();
    Reject(key, value, VerdictTexts().c_str());
  }

  std::map<std::string, double> Times(const json& value) const {
    std::map<std::string, double> times;
    for (const auto& [stage, time] : Object(value, "timing_ms").items()) {
      times[stage] = Double(time, "timing_ms." + stage);
    }
    return times;
  }

  const std::string& file_;
  std::size_t line_;
};

// The mask of `run_lengths`, which is `key` of the line.
cv::Mat Decode(const StoredFrame& frame, const RunLengths& run_lengths,
               const std::string& key) try {
  return DecodeRunLengths(run_lengths);
} catch (const std::invalid_argument& error) {
  throw SetupError(
      fmt::format("{}{}.rle: {}", LinePlace(frame.file, frame.line), key, error.what()));
}

}  // namespace

StoredFrame ReadStoredFrame(const std::string& text, const std::string& file, std::size_t line) {
  return LineReader(file, line).Read(text);
}

std::string LinePlace(const std::string& file, std::size_t line) {
  return fmt::format("'{}' line {}: ", file, line);
}

std::array<float, 4> BoxInPicture(const Detection& detection, const StoredFrame& frame) {
  return frame.fit ? BoxInPicture(detection.box, *frame.fit) : detection.box;
}

cv::Mat DecodeMask(const StoredFrame& frame, int label) {
  return Decode(frame, frame.masks.at(label).run_lengths, fmt::format("label_masks.{}", label));
}

cv::Mat DecodeThing(const StoredFrame& frame, std::size_t thing) {
  return Decode(frame, frame.things->at(thing).run_lengths, Item("things", thing));
}

}  // namespace dirty_seg
