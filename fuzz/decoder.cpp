// Output tensors and their shapes through the bundled post-processor: a configuration is refused
// with std::invalid_argument, buffers with a status, and every object keeps what its record
// promises.
#include <yaml-cpp/yaml.h>

#include <cmath>
#include <stdexcept>

#include "engine/yolov8_postprocess.h"
#include "input.h"
#include "network/tensor.h"

namespace {

using fuzz::Input;
using fuzz::Require;
using nuvik::alg::common::AIBuff;
using nuvik::alg::common::AIEngineConfig;
using nuvik::alg::common::TensorBytes;
using nuvik::model::Object;
using nuvik::model::Yolov8Postprocess;
using Buffers = std::map<std::string, AIBuff>;
using ObjectLists = std::vector<std::vector<Object>>;

constexpr const char* kPredictions = "output0";
constexpr const char* kPrototypes = "output1";
constexpr std::size_t kMaxBytes = 1 << 18;  // of a tensor that is filled

// The shapes of a head that fits, and sometimes one number of them replaced.
AIEngineConfig TakeConfig(Input& input) {
  const std::int64_t batch = input.TakeFrom(1, 3);
  const std::int64_t side = 32 * std::int64_t{input.TakeFrom(1, 4)};
  const std::int64_t channels = input.TakeFrom(0, 40);
  const std::int64_t coefficients = input.TakeFrom(0, 33);
  const std::int64_t anchors = side / 8 * (side / 8) * 21 / 16;
  const std::int64_t proto_side = side >> input.TakeFrom(0, 5);
  AIEngineConfig config;
  config.input_shapes["images"] = {batch, 3, side, side};
  config.output_shapes[kPredictions] = {batch, channels, anchors};
  if (input.TakeBool()) config.output_shapes[kPredictions] = {batch, anchors, channels};
  config.output_shapes[kPrototypes] = {batch, coefficients, proto_side, proto_side};
  for (const char* name : {kPredictions, kPrototypes}) {
    config.output_sizes[name] = 0;
    const int type = input.TakeFrom(0, 7);
    if (type < 7) config.output_types[name] = static_cast<std::uint32_t>(type % 4);
  }
  if (input.TakeFrom(0, 7) == 1) {
    auto& shape = config.output_shapes[input.TakeBool() ? kPredictions : kPrototypes];
    shape.resize(static_cast<std::size_t>(input.TakeFrom(0, 5)), 1);
    if (!shape.empty()) shape[input.Take<std::uint8_t>() % shape.size()] = input.Take<int64_t>();
  }
  if (input.TakeFrom(0, 7) == 1) {
    auto& shape = config.input_shapes["images"];
    shape[input.Take<std::uint8_t>() % shape.size()] = input.Take<std::int64_t>();
  }
  return config;
}

// Mostly small, since drawing masks is most of a run; sometimes beyond the frame.
int TakeLength(Input& input) {
  return input.TakeFrom(0, 15) == 15 ? input.Take<std::int16_t>() : input.Take<std::uint8_t>();
}

// A few patches and the file's root that may list them; seldom none, which means the frame.
std::vector<cv::Size> TakePatches(Input& input, YAML::Node& root) {
  std::vector<cv::Size> sizes;
  YAML::Node list(YAML::NodeType::Sequence);
  for (int left = std::min(input.TakeFrom(0, 15), 4); left > 0; --left) {
    YAML::Node entry(YAML::NodeType::Sequence);
    const cv::Size size{TakeLength(input), TakeLength(input)};
    entry.push_back(input.Take<std::int16_t>());
    entry.push_back(input.Take<std::int16_t>());
    entry.push_back(size.width);
    entry.push_back(size.height);
    list.push_back(entry);
    sizes.push_back(size);
  }
  if (input.TakeBool()) {
    root["patch"]["enable"] = true;
    root["patch"]["patches"] = list;
  }
  return sizes;
}

YAML::Node TakeOptions(Input& input) {
  YAML::Node root(YAML::NodeType::Map);
  YAML::Node options = root["postprocess"];
  options["score_threshold"] = input.TakeFrom(0, 100) / 100.0;
  options["iou_threshold"] = input.TakeFrom(0, 100) / 100.0;
  options["mask_threshold"] = input.TakeFrom(0, 100) / 100.0;
  options["max_detections"] = input.TakeFrom(1, 3);
  options["class_agnostic"] = input.TakeBool();
  if (input.TakeBool()) options["score_thresholds"][1] = input.TakeFrom(0, 100) / 100.0;
  if (input.TakeBool()) options["classes"].push_back(input.TakeFrom(0, 2));
  return root;
}

// A pattern that repeats; single bytes of it then replaced.
void Fill(Input& input, std::vector<std::uint8_t>& bytes) {
  std::vector<std::uint8_t> pattern(static_cast<std::size_t>(input.TakeFrom(1, 64)));
  for (std::uint8_t& byte : pattern) byte = input.Take<std::uint8_t>();
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = pattern[i % pattern.size()];
  for (int left = input.TakeFrom(0, 64); left > 0 && !bytes.empty(); --left) {
    const auto at = input.Take<std::uint32_t>() % bytes.size();
    const auto value = input.Take<std::uint32_t>();
    std::memcpy(&bytes[at], &value, std::min(sizeof(value), bytes.size() - at));
  }
}

// Buffers of the configured lengths; nothing when they would be too long to fill.
bool TakeBuffers(Input& input, const AIEngineConfig& config, Buffers& buffers) {
  for (const auto& [name, shape] : config.output_shapes) {
    const auto type = config.output_types.find(name);
    const auto bytes = TensorBytes(type == config.output_types.end() ? 2 : type->second, shape);
    if (!bytes || *bytes > kMaxBytes) return false;
    buffers[name].data->resize(*bytes);
    Fill(input, *buffers[name].data);
  }
  const int fault = input.TakeFrom(0, 31);
  if (fault == 1) buffers.erase(kPrototypes);
  if (fault == 2) buffers[kPredictions].data = nullptr;
  if (fault == 3) buffers[kPredictions].data->push_back(0);
  return true;
}

float ThresholdOf(int label, const YAML::Node& options) {
  const YAML::Node own = options["score_thresholds"];
  const bool has_own = label == 1 && own.IsDefined();
  return (has_own ? own[1] : options["score_threshold"]).as<float>();
}

void CheckObject(const Object& object, const YAML::Node& options) {
  Require(std::isfinite(object.score) && object.score > ThresholdOf(object.label, options),
          "the score is above");
  const YAML::Node classes = options["classes"];
  Require(!classes.IsDefined() || classes[0].as<int>() == object.label, "the class is looked for");
  Require(object.x >= 0.0F && object.y >= 0.0F && object.width > 0.0F && object.height > 0.0F &&
              std::isfinite(object.x + object.width) && std::isfinite(object.y + object.height),
          "the box is finite and has an area");
  const cv::Mat& mask = object.mask;
  Require(mask.type() == CV_8UC1 && !mask.empty(), "there is a mask");
  // A corner is a float sum: it may be rounded to just outside.
  Require(object.x + object.width <= static_cast<float>(mask.cols) * 1.0001F &&
              object.y + object.height <= static_cast<float>(mask.rows) * 1.0001F,
          "the box is inside the patch");
  Require(cv::countNonZero(mask) == cv::countNonZero(mask == 255), "mask pixels are 0 or 255");
}

bool AreEqual(const ObjectLists& a, const ObjectLists& b) {
  const auto equal = [](const Object& x, const Object& y) {
    return x.x == y.x && x.y == y.y && x.width == y.width && x.height == y.height &&
           x.label == y.label && x.score == y.score && cv::countNonZero(x.mask != y.mask) == 0;
  };
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [&equal](const auto& x, const auto& y) {
    return std::equal(x.begin(), x.end(), y.begin(), y.end(), equal);
  });
}

void Decode(Yolov8Postprocess& postprocess, const YAML::Node& options, Buffers& buffers) {
  ObjectLists objects;
  if (const int status = postprocess.PostProcess(buffers, objects); status != 0) {
    Require(objects.empty(), "a failure leaves no list");
    return;
  }
  for (const std::vector<Object>& list : objects) {
    Require(list.size() <= options["max_detections"].as<std::size_t>(), "the list is limited");
    for (std::size_t i = 0; i < list.size(); ++i) {
      CheckObject(list[i], options);
      Require(i == 0 || list[i - 1].score >= list[i].score, "the best comes first");
    }
  }
  ObjectLists again;
  Require(postprocess.PostProcess(buffers, again) == 0, "what was decoded is decoded again");
  Require(AreEqual(objects, again), "the same tensors give the same lists");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Input input(data, size);
  const AIEngineConfig config = TakeConfig(input);
  YAML::Node root = TakeOptions(input);
  const std::vector<cv::Size> patches = TakePatches(input, root);
  try {
    Yolov8Postprocess postprocess(root, config, patches);
    Buffers buffers;
    if (TakeBuffers(input, config, buffers)) Decode(postprocess, root["postprocess"], buffers);
  } catch (const std::invalid_argument&) {
  }
  return 0;
}
