#include "engine/yolov8_postprocess.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <stdexcept>
#include <utility>

#include "common/diagnostics.h"
#include "decode/candidates.h"
#include "decode/kept_objects.h"
#include "decode/mask_painter.h"
#include "decode/non_finite_report.h"
#include "decode/run_options.h"
#include "geometry/letterbox.h"
#include "geometry/patch_geometry.h"
#include "geometry/size_text.h"
#include "network/segmentation_head.h"
#include "network/tensor.h"

namespace nuvik::model {
namespace {

using alg::common::AIBuff;
using alg::common::AIDataType;
using alg::common::AIEngineConfig;
using geometry::PatchGeometry;
using geometry::SizeText;
using BufferMap = std::map<std::string, AIBuff>;

// The rectangles of the file's enabled patch list; none when there is no such list. The detector
// has read the same list before and has refused what does not convert.
std::vector<cv::Rect> ReadPatchList(const YAML::Node& root) try {
  std::vector<cv::Rect> patches;
  if (!root.IsMap() || !root["patch"].IsDefined() || !root["patch"]["enable"].as<bool>(false)) {
    return patches;
  }
  const YAML::Node entries = root["patch"]["patches"];
  if (!entries.IsDefined()) return patches;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const YAML::Node entry = entries[i];
    patches.emplace_back(entry[0].as<int>(), entry[1].as<int>(), entry[2].as<int>(),
                         entry[3].as<int>());
  }
  return patches;
} catch (const YAML::Exception& error) {
  throw std::invalid_argument(std::string("patch list: ") + error.what() +
                              "; expected patch: {enable: true or false, patches: "
                              "[[x, y, width, height], ...]}");
}

// Places the sizes that the detector passes: at the file's origins, or at 0, 0 without a list
// there.
std::vector<cv::Rect> PlacePatches(const std::vector<cv::Rect>& listed,
                                   const std::vector<cv::Size>& sizes) {
  std::vector<cv::Rect> patches;
  if (!listed.empty() && listed.size() != sizes.size()) {
    throw std::invalid_argument(std::to_string(sizes.size()) + " patch sizes given; the file has " +
                                std::to_string(listed.size()) + " patches");
  }
  for (std::size_t i = 0; i < sizes.size(); ++i) {
    const cv::Point origin = listed.empty() ? cv::Point(0, 0) : listed[i].tl();
    if (!listed.empty() && listed[i].size() != sizes[i]) {
      throw std::invalid_argument("patch " + std::to_string(i) + " is given as " +
                                  SizeText(sizes[i]) + "; the file has " +
                                  SizeText(listed[i].size()));
    }
    patches.emplace_back(origin, sizes[i]);
  }
  return patches;
}

// One geometry for each batch slot that is decoded.
std::vector<PatchGeometry> MakeSlots(const std::vector<cv::Rect>& patches,
                                     const SegmentationHead& head) {
  const cv::Size frame = geometry::FrameSize();
  std::vector<cv::Size> sizes;
  for (const cv::Rect& patch : patches) {
    const cv::Rect clipped = geometry::ClipFarEdges(patch, frame);
    if (clipped.width > 0 && clipped.height > 0) sizes.push_back(clipped.size());
  }
  if (sizes.size() > static_cast<std::size_t>(head.batch)) {
    throw std::invalid_argument(std::to_string(sizes.size()) +
                                " patches reach into the frame; the network's batch has " +
                                std::to_string(head.batch) + " slots");
  }
  std::vector<PatchGeometry> slots;
  slots.reserve(sizes.size());
  for (const cv::Size& size : sizes) {
    slots.emplace_back(size, head.input_side, head.proto_side);
  }
  if (patches.empty()) {
    slots.assign(static_cast<std::size_t>(head.batch),
                 PatchGeometry(frame, head.input_side, head.proto_side));
  }
  return slots;
}

// The logit above which a pixel's probability is greater than `probability`.
float Logit(float probability) {
  const double p = probability;
  return static_cast<float>(std::log(p / (1.0 - p)));
}

// Corners in patch pixels, inside the patch.
struct PatchBox {
  float x1;
  float y1;
  float x2;
  float y2;

  bool IsEmpty() const { return !(x2 > x1) || !(y2 > y1); }

  // Left and top rounded down, right and bottom rounded up.
  cv::Rect WholePixels() const {
    return {cv::Point(static_cast<int>(x1), static_cast<int>(y1)),
            cv::Point(static_cast<int>(std::ceil(x2)), static_cast<int>(std::ceil(y2)))};
  }
};

PatchBox Clip(const Candidate& candidate, const PatchGeometry& geometry) {
  return {geometry.ToPatchX(candidate.x1), geometry.ToPatchY(candidate.y1),
          geometry.ToPatchX(candidate.x2), geometry.ToPatchY(candidate.y2)};
}

// One output tensor, read slot by slot as float32.
class TensorReader {
 public:
  TensorReader(std::string name, AIDataType type, std::size_t slot_length, int batch)
      : name_(std::move(name)),
        is_half_(type == alg::common::kAIFloat16),
        element_bytes_(alg::common::ElementBytes(type)),
        length_(slot_length) {
    bytes_ = length_ * element_bytes_ * static_cast<std::size_t>(batch);
  }

  // Takes the buffer for this call; returns what is wrong with it.
  int Attach(const BufferMap& outputs) {
    const auto buffer = outputs.find(name_);
    if (buffer == outputs.end() || buffer->second.data == nullptr) {
      PrintError("output '" + name_ + "' has no buffer to decode");
      return kPostProcessMissingOutput;
    }
    if (buffer->second.data->size() != bytes_) {
      PrintError("output '" + name_ + "' has " + std::to_string(buffer->second.data->size()) +
                 " bytes to decode; expected " + std::to_string(bytes_));
      return kPostProcessWrongSize;
    }
    data_ = buffer->second.data->data();
    return kPostProcessOk;
  }

  const float* Slot(std::size_t slot) {
    std::uint8_t* first = data_ + slot * length_ * element_bytes_;
    if (!is_half_) return reinterpret_cast<const float*>(first);
    const cv::Mat half(1, static_cast<int>(length_), CV_16FC1, first);
    half.convertTo(converted_, CV_32F);
    return converted_.ptr<float>();
  }

  // Whether every `step`-th number of the slot is finite.
  bool AreSamplesFinite(std::size_t slot, std::size_t step, int count) const {
    constexpr std::uint16_t kHalfExponent = 0x7c00;  // all ones in what is not finite
    for (int i = 0; i < count; ++i) {
      const std::uint8_t* number =
          data_ + (slot * length_ + static_cast<std::size_t>(i) * step) * element_bytes_;
      const bool is_finite =
          is_half_
              ? (*reinterpret_cast<const std::uint16_t*>(number) & kHalfExponent) != kHalfExponent
              : std::isfinite(*reinterpret_cast<const float*>(number));
      if (!is_finite) return false;
    }
    return true;
  }

  // Takes `counts` on by one entry, where the tensor has such numbers.
  void CountNonFinite(std::vector<NonFiniteCount>& counts) {
    std::size_t count = 0;
    const std::size_t slots = bytes_ / (length_ * element_bytes_);
    for (std::size_t slot = 0; slot < slots; ++slot) {
      const float* numbers = Slot(slot);
      count += static_cast<std::size_t>(std::count_if(
          numbers, numbers + length_, [](float number) { return !std::isfinite(number); }));
    }
    if (count > 0) counts.push_back({name_, count, slots * length_});
  }

 private:
  std::string name_;
  bool is_half_;
  std::size_t element_bytes_;
  std::size_t length_;
  std::size_t bytes_ = 0;
  std::uint8_t* data_ = nullptr;
  cv::Mat converted_;
};

std::size_t Product(int a, int b) {
  return static_cast<std::size_t>(a) * static_cast<std::size_t>(b);
}

}  // namespace

class Yolov8Postprocess::Impl {
 public:
  Impl(const YAML::Node& root, const AIEngineConfig& config,
       const std::vector<cv::Size>& patch_sizes)
      : options_(ReadRunOptions(root)),
        head_(ReadSegmentationHead(config)),
        slots_(MakeSlots(PlacePatches(ReadPatchList(root), patch_sizes), head_)),
        thresholds_(ClassThresholds(options_, head_.classes)),
        mask_logit_(Logit(options_.mask_threshold)),
        predictions_(head_.predictions, head_.predictions_type,
                     Product(head_.channels(), head_.anchors), head_.batch),
        prototypes_(head_.prototypes, head_.prototypes_type,
                    Product(head_.coefficients, head_.proto_side) *
                        static_cast<std::size_t>(head_.proto_side),
                    head_.batch),
        coefficients_(static_cast<std::size_t>(head_.coefficients)),
        painters_(slots_.size()) {}

  int PostProcess(const BufferMap& outputs, std::vector<std::vector<Object>>& objects) {
    objects.clear();
    SetNonFiniteCounts({});
    KeepObjects({});
    if (const int status = predictions_.Attach(outputs); status != kPostProcessOk) return status;
    if (const int status = prototypes_.Attach(outputs); status != kPostProcessOk) return status;
    objects.resize(slots_.size());
    bool are_finite = true;
    for (std::size_t slot = 0; slot < slots_.size(); ++slot) {
      are_finite &= DecodeSlot(slot, objects[slot]);
      are_finite &= AreSamplesFinite(slot);
    }
    if (!are_finite) ReportNonFinite();
    KeepObjects(objects);
    return kPostProcessOk;
  }

 private:
  Predictions ReadPredictions(std::size_t slot) {
    const auto anchors = static_cast<std::size_t>(head_.anchors);
    const auto channels = static_cast<std::size_t>(head_.channels());
    return {predictions_.Slot(slot),
            head_.classes,
            head_.coefficients,
            head_.anchors,
            head_.anchor_major ? 1 : anchors,
            head_.anchor_major ? channels : 1};
  }

  // One number of each channel and prototype: a network that breaks down does so in whole planes,
  // and where no score is above the threshold nothing else reads most of them.
  bool AreSamplesFinite(std::size_t slot) const {
    const auto anchors = static_cast<std::size_t>(head_.anchors);
    const std::size_t plane = Product(head_.proto_side, head_.proto_side);
    return predictions_.AreSamplesFinite(slot, head_.anchor_major ? 1 : anchors,
                                         head_.channels()) &&
           prototypes_.AreSamplesFinite(slot, plane, head_.coefficients);
  }

  // Returns whether all that was looked at on the way is finite.
  bool DecodeSlot(std::size_t slot, std::vector<Object>& objects) {
    const Predictions predictions = ReadPredictions(slot);
    const PatchGeometry& geometry = slots_[slot];
    candidates_.clear();
    const bool are_predictions_finite = FindCandidates(predictions, thresholds_, candidates_);
    // What lies in the border around the patch is not a detection and suppresses none.
    const auto is_outside = [&](const Candidate& candidate) {
      return Clip(candidate, geometry).IsEmpty();
    };
    candidates_.erase(std::remove_if(candidates_.begin(), candidates_.end(), is_outside),
                      candidates_.end());
    Suppress(options_.iou_threshold, options_.class_agnostic,
             static_cast<std::size_t>(options_.max_detections), candidates_);
    MaskPainter& painter = painters_[slot];
    painter.StartFrame();
    if (candidates_.empty()) return are_predictions_finite;

    const MaskPainter::Prototypes prototypes{prototypes_.Slot(slot), head_.coefficients,
                                             head_.proto_side};
    objects.reserve(candidates_.size());
    for (const Candidate& candidate : candidates_) {
      for (int k = 0; k < head_.coefficients; ++k) {
        coefficients_[static_cast<std::size_t>(k)] =
            predictions.at(head_.channels() - head_.coefficients + k, candidate.anchor);
      }
      const PatchBox box = Clip(candidate, geometry);
      Object object{box.x1,          box.y1, box.x2 - box.x1, box.y2 - box.y1, candidate.label,
                    candidate.score, {}};
      object.mask =
          painter.Paint(prototypes, coefficients_.data(), geometry, box.WholePixels(), mask_logit_);
      objects.push_back(std::move(object));
    }
    return are_predictions_finite && painter.are_logits_finite();
  }

  // Reads all numbers, which takes longer than to decode them: only for a frame where some were
  // noticed. None may be found where finite ones have led beyond what a float holds.
  void ReportNonFinite() {
    std::vector<NonFiniteCount> counts;
    predictions_.CountNonFinite(counts);
    prototypes_.CountNonFinite(counts);
    if (counts.empty()) return;
    non_finite_report_.Print(counts);
    SetNonFiniteCounts(counts);
  }

  PostprocessOptions options_;
  SegmentationHead head_;
  std::vector<PatchGeometry> slots_;
  std::vector<float> thresholds_;  // of the classes
  float mask_logit_;
  TensorReader predictions_;
  TensorReader prototypes_;
  // Working memory, kept between frames.
  std::vector<Candidate> candidates_;
  std::vector<float> coefficients_;
  std::vector<MaskPainter> painters_;  // one per slot: masks of one size
  NonFiniteReport non_finite_report_;
};

Yolov8Postprocess::Yolov8Postprocess(const YAML::Node& root, const AIEngineConfig& config,
                                     const std::vector<cv::Size>& patch_sizes)
    : impl_(std::make_unique<Impl>(root, config, patch_sizes)) {}

Yolov8Postprocess::~Yolov8Postprocess() = default;

int Yolov8Postprocess::PostProcess(BufferMap& outputs, std::vector<std::vector<Object>>& objects) {
  return impl_->PostProcess(outputs, objects);
}

}  // namespace nuvik::model
