#include "dirty_seg_detector/dirty_seg_detector.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <numeric>
#include <opencv2/imgproc.hpp>
#include <optional>
#include <utility>

#include "common/sole_owner.h"
#include "dirty_seg_detector/crop_kernels.h"
#include "dirty_seg_detector/linear_kernels.h"
#include "dirty_seg_detector/mask_kernels.h"
#include "dirty_seg_detector/pixel_kernels.h"
#include "engine/to_string.h"
#include "geometry/image_box.h"
#include "geometry/letterbox.h"
#include "logger/logger.h"

namespace nuvik::perception::dirty_seg_detector {

// Working folder of the module's debugging aids. No operation reads it.
extern const std::string kTemporaryFolder = "/root/ws/tmp/";

namespace {

using dirty_seg_detector_data::kFeceLabel;
using geometry::kGrey;
using model::Object;

constexpr const char* kColor = "color";
constexpr std::size_t kFeceInputBytes = sizeof(float) * 3 * kFeceSide * kFeceSide;
constexpr std::size_t kFeceOutputBytes = sizeof(float) * 2;
// What cv::resize scales on the calling thread; a larger target it shares out among threads that it
// starts. A parallel region around it does not stop that for sure: the flag against nested ones is
// one for the process.
constexpr int kMaxUnsharedPixels = 1 << 16;
static_assert(kFeceSide * kFeceSide <= kMaxUnsharedPixels);

// Bytes of one element by data type code; codes beyond the table count as four.
std::size_t ElementSize(std::uint32_t data_type) {
  constexpr std::array<std::size_t, 6> kSizes{1, 2, 4, 4, 8, 8};
  return data_type < kSizes.size() ? kSizes[data_type] : 4;
}

// Zeroed storage for the buffer's shape and type. Unsigned, since a product that overflows must not
// be undefined; the engine refuses the length that comes of it.
void AllocateStorage(AIBuff& buffer) {
  const std::uint64_t elements =
      std::accumulate(buffer.shape.begin(), buffer.shape.end(), std::uint64_t{1},
                      [](std::uint64_t product, std::int64_t dimension) {
                        return product * static_cast<std::uint64_t>(dimension);
                      });
  buffer.data->clear();
  buffer.data->resize(elements * ElementSize(buffer.data_type));
}

void MakeInputBuffers(const AIEngineConfig& config, std::map<std::string, AIBuff>& buffers) {
  for (const auto& [name, bytes] : config.input_sizes) {
    AIBuff& buffer = buffers[name];
    buffer = AIBuff();
    buffer.data->resize(static_cast<std::size_t>(bytes));
  }
}

void MakeOutputBuffers(const AIEngineConfig& config, std::map<std::string, AIBuff>& buffers) {
  for (const auto& [name, bytes] : config.output_sizes) {
    AIBuff& buffer = buffers[name];
    buffer = AIBuff();
    buffer.shape = config.output_shapes.at(name);
    AllocateStorage(buffer);
    buffer.data_type = config.output_types.at(name);
    AllocateStorage(buffer);
  }
}

// Appends the file's patches, if it has any, to `patches`, and their sizes to the result.
// Subscripts are those of a node that may be written, since only these turn a missing element into
// a conversion error.
std::vector<cv::Size> ReadPatches(YAML::Node& root, std::vector<cv::Rect>& patches) {
  std::vector<cv::Size> sizes;
  if (!std::as_const(root)["patch"].IsDefined()) return sizes;
  YAML::Node patch = root["patch"];
  if (!patch["enable"].as<bool>()) return sizes;
  YAML::Node entries = patch["patches"];
  for (std::size_t i = 0; i < entries.size(); ++i) {
    YAML::Node entry = entries[i];
    const int x = entry[0].as<int>();
    const int y = entry[1].as<int>();
    const int width = entry[2].as<int>();
    const int height = entry[3].as<int>();
    patches.emplace_back(x, y, width, height);
    sizes.emplace_back(width, height);
  }
  return sizes;
}

timespec WallClock() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

// "LABEL cost time is 12.345678 ms.", cut to 1000 characters with the terminating null.
std::string StageTime(const std::string& label, const timespec& before, const timespec& after) {
  const double ms = static_cast<double>(after.tv_sec - before.tv_sec) * 1000.0 +
                    static_cast<double>(after.tv_nsec - before.tv_nsec) * 1e-6;
  const std::string format = std::to_string(label) + " cost time is %f ms.";
  std::array<char, 1000> text{};
  std::snprintf(text.data(), text.size(), format.c_str(), ms);
  return text.data();
}

// The image of that name, or null when it is missing, null or empty.
const cv::Mat* FindImage(const ImageMap& images, const char* name) {
  const auto entry = images.find(name);
  if (entry == images.end() || entry->second == nullptr || entry->second->empty()) return nullptr;
  return entry->second.get();
}

AIBuff* FindBuffer(std::map<std::string, AIBuff>& buffers, const char* name) {
  const auto entry = buffers.find(name);
  return entry == buffers.end() ? nullptr : &entry->second;
}

std::size_t StorageSize(const AIBuff& buffer) {
  return buffer.data == nullptr ? 0 : buffer.data->size();
}

float* Floats(AIBuff& buffer) {
  return buffer.data == nullptr ? nullptr : reinterpret_cast<float*>(buffer.data->data());
}

// As the fields have it: -1 x -1 beyond two dimensions, where cv::Mat::size() gives the first two.
cv::Size SizeOf(const cv::Mat& image) { return {image.cols, image.rows}; }

bool IsColorImage(const cv::Mat& image) { return image.dims <= 2 && image.type() == CV_8UC3; }

// Floats that `image` takes in a tensor.
std::size_t TensorLength(const cv::Mat& image) {
  return image.total() * static_cast<std::size_t>(image.channels());
}

// cv::resize with bilinear weights only on the calling thread, for what the kernel does not scale:
// the classifier's crops, whose target is small, what cv::resize refuses, and what PopulateData
// will. A larger target is scaled in strips, each out of its own rows: near what cv::resize makes
// of the whole, for pictures that are refused a line later.
cv::Mat ResizeUnshared(const cv::Mat& image, const cv::Size& size) {
  cv::Mat resized;
  const bool is_small = std::int64_t{size.width} * size.height <= kMaxUnsharedPixels;
  if (is_small || size.empty() || image.dims > 2) {
    cv::resize(image, resized, size, 0, 0, cv::INTER_LINEAR);
    return resized;
  }
  resized.create(size, image.type());
  const int strip_rows = std::max(kMaxUnsharedPixels / size.width, 1);
  const auto source_row = [&](int row) {
    return static_cast<int>(std::int64_t{row} * image.rows / size.height);
  };
  for (int top = 0; top < size.height; top += strip_rows) {
    const int bottom = std::min(top + strip_rows, size.height);
    const int first = source_row(top);
    cv::Mat strip = resized.rowRange(top, bottom);
    cv::resize(image.rowRange(first, std::max(source_row(bottom), first + 1)), strip, strip.size(),
               0, 0, cv::INTER_LINEAR);
  }
  return resized;
}

cv::Mat BlendColor(const cv::Mat& image, const cv::Size& size) {
  cv::Mat scaled(size, CV_8UC3);  // first: it names a size that no machine has the memory for
  std::vector<LinearTap> columns;
  std::vector<LinearTap> rows;
  LinearColumns(image.cols, size.width, columns);
  LinearRows(image.rows, size.height, rows);
  std::vector<int> scratch(6 * columns.size());
  BlendPixels(image.data, image.step, columns, rows, scratch.data(), scaled.data, scaled.step);
  return scaled;
}

// Each channel as a colour picture's three: no channel has to do with another.
cv::Mat BlendEachChannel(const cv::Mat& image, const cv::Size& size) {
  std::vector<cv::Mat> channels;
  cv::split(image, channels);
  for (cv::Mat& channel : channels) {
    cv::Mat color;
    cv::merge(std::vector<cv::Mat>{channel, channel, channel}, color);
    cv::extractChannel(BlendColor(color, size), channel, 0);
  }
  cv::Mat scaled;
  cv::merge(channels, scaled);
  return scaled;
}

cv::Mat ScaleBilinearly(const cv::Mat& image, const cv::Size& size) {
  if (!size.empty() && IsColorImage(image)) return BlendColor(image, size);
  const bool is_grey_or_has_alpha = image.type() == CV_8UC1 || image.type() == CV_8UC4;
  if (!size.empty() && image.dims <= 2 && is_grey_or_has_alpha) {
    return BlendEachChannel(image, size);
  }
  return ResizeUnshared(image, size);
}

// The kernel's task for pixels of any type.
cv::Mat PickPixels(const cv::Mat& image, const std::vector<int>& columns,
                   const std::vector<int>& rows) {
  cv::Mat picked(static_cast<int>(rows.size()), static_cast<int>(columns.size()), image.type());
  for (int y = 0; y < picked.rows; ++y) {
    for (int x = 0; x < picked.cols; ++x) {
      std::memcpy(
          picked.ptr(y, x),
          image.ptr(rows[static_cast<std::size_t>(y)], columns[static_cast<std::size_t>(x)]),
          image.elemSize());
    }
  }
  return picked;
}

// Greys what lies around `inner`.
void FillBorder(const cv::Rect& inner, cv::Mat& square) {
  const cv::Scalar grey(kGrey, kGrey, kGrey, 0.0);
  square.rowRange(0, inner.y).setTo(grey);
  square.rowRange(inner.br().y, square.rows).setTo(grey);
  square.colRange(0, inner.x).setTo(grey);
  square.colRange(inner.br().x, square.cols).setTo(grey);
}

cv::Mat PadSquare(const cv::Mat& image) {
  const geometry::SquareBorder border = geometry::BorderToSquare(SizeOf(image));
  cv::Mat square;
  cv::copyMakeBorder(image, square, border.top_and_bottom, border.top_and_bottom,
                     border.left_and_right, border.left_and_right, cv::BORDER_CONSTANT,
                     cv::Scalar(kGrey, kGrey, kGrey, 0.0));
  return square;
}

// Scales `crop` with nearest neighbour so that its longer side is `side`, and pads it square. The
// result has memory of its own, that of `square` where it fits. Colour images take one pass.
cv::Mat CutSquare(const cv::Mat& crop, int side, cv::Mat square) {
  const geometry::Letterbox letterbox(crop.size(), side);
  if (letterbox.scaled.empty()) {
    cv::resize(crop, square, letterbox.scaled, 0, 0, cv::INTER_NEAREST);  // names the fault
    return square;
  }
  std::vector<int> columns;
  std::vector<int> rows;
  NearestIndices(crop.cols, letterbox.scaled.width, columns);
  NearestIndices(crop.rows, letterbox.scaled.height, rows);
  if (!IsColorImage(crop)) return PadSquare(PickPixels(crop, columns, rows));
  const cv::Rect inner = letterbox.Inner();
  square.create(letterbox.Padded(), CV_8UC3);
  FillBorder(inner, square);
  cv::Mat target = square(inner);
  GatherPixels(crop.data, crop.step, columns, rows, target.data, target.step);
  return square;
}

// Takes the matrix of that name out, unless its memory is in use elsewhere.
cv::Mat TakeUnshared(std::map<std::string, cv::Mat>& images, const std::string& name) {
  const auto entry = images.find(name);
  if (entry == images.end()) return {};
  cv::Mat image = std::move(entry->second);
  return IsSoleOwner(image) ? image : cv::Mat();
}

// Where the n-th image of a batch goes when all are as large as `image`.
struct InputSlot {
  std::size_t bytes_needed;
  std::size_t bytes_available;
  float* first;  // null when the storage ends before the image does
};

InputSlot FindSlot(AIBuff& input, const cv::Mat& image, std::size_t n) {
  const std::size_t length = TensorLength(image);
  InputSlot slot{(n + 1) * length * sizeof(float), StorageSize(input), nullptr};
  if (slot.bytes_needed <= slot.bytes_available) slot.first = Floats(input) + n * length;
  return slot;
}

bool Contains(const std::vector<int>& ids, int id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

struct Verdict {
  float p0;
  float p1;
  int class_id;
  float score;
};

// Softmax of two logits. The maximum is subtracted, so that no exponential overflows.
Verdict Classify(float l0, float l1) {
  const float m = l0 < l1 ? l1 : l0;
  const float e0 = std::exp(l0 - m);
  const float e1 = std::exp(l1 - m);
  const float s = e1 + e0;
  const float p0 = e0 / s;
  const float p1 = e1 / s;
  const int class_id = p0 < p1 ? 1 : 0;
  return {p0, p1, class_id, class_id == 1 ? p1 : p0};
}

// The part of a mask, placed with its origin at `origin`, that lies left of and above the frame's
// far edges; empty when nothing does.
cv::Rect VisiblePart(const cv::Mat& mask, const cv::Point& origin) {
  const cv::Rect placed = geometry::ClipFarEdges({origin, SizeOf(mask)}, geometry::FrameSize());
  return {0, 0, placed.width, placed.height};
}

// Unites the canvas and the mask; returns the number of mask pixels. Masks of another type than the
// canvas are OpenCV's to refuse.
int Unite(const cv::Mat& mask, const cv::Mat& canvas) {
  if (mask.type() == CV_8UC1) {
    return UniteAndCount(mask.data, mask.step, canvas.data, canvas.step, mask.rows, mask.cols);
  }
  cv::bitwise_or(canvas, mask, canvas);
  return cv::countNonZero(mask);
}

// Paints the mask into its label's canvas and counts its pixels.
void AddMask(const cv::Mat& mask, const cv::Point& origin, int label,
             std::map<int, cv::Mat>& canvases, std::vector<float>& pixel_counts) {
  const cv::Rect part = VisiblePart(mask, origin);
  if (part.empty()) return;
  const auto [canvas, is_new] = canvases.try_emplace(label);
  if (is_new) canvas->second = cv::Mat::zeros(geometry::FrameSize(), CV_8UC1);
  const cv::Mat target = canvas->second(cv::Rect(origin, part.size()));
  pixel_counts.push_back(static_cast<float>(Unite(mask(part), target)));
}

}  // namespace

bool DirtySegDetector::Init(const DirtySegDetectorConfig& config) {
  config_ = std::make_shared<DirtySegDetectorConfig>(config);

  // The result tells the host of a network that does not load; the log line is information.
  dirty_seg_engine_ = std::make_shared<AIEngine>();
  if (dirty_seg_engine_->Init(config_->dirty_seg_model_config) < 0) {
    TESSMAR_LOG_INFO("Initing dirty seg detector model failed");
    return false;
  }
  TESSMAR_LOG_INFO("Initing dirty seg detector model succeed");
  MakeInputBuffers(config_->dirty_seg_model_config, dirty_seg_inputs_);
  MakeOutputBuffers(config_->dirty_seg_model_config, dirty_seg_outputs_);

  if (config_->fece_enable) {
    fece_engine_ = std::make_shared<AIEngine>();
    if (fece_engine_->Init(config_->fece_model_config) < 0) {
      TESSMAR_LOG_INFO("Initing fece detector model failed");
      return false;
    }
    TESSMAR_LOG_INFO("Initing fece detector model succeed");
    MakeInputBuffers(config_->fece_model_config, fece_inputs_);
    MakeOutputBuffers(config_->fece_model_config, fece_outputs_);
  }

  YAML::Node root = YAML::LoadFile(config_->yaml_config_path);
  const std::vector<cv::Size> patch_sizes = ReadPatches(root, patches_);
  yolov8_postprocess_ =
      std::make_shared<Yolov8Postprocess>(root, config_->dirty_seg_model_config, patch_sizes);
  TESSMAR_LOG_DEBUG("Dirty Seg Detector model path : {}",
                    config_->dirty_seg_model_config.model_path);
  return true;
}

bool DirtySegDetector::DoInference(const ImageMap& images,
                                   std::shared_ptr<DirtyStatusResultData>& result) {
  for (const auto& [name, shape] : config_->dirty_seg_model_config.input_shapes) {
    const int width = static_cast<int>(shape.at(3));
    const int height = static_cast<int>(shape.at(2));
    AIBuff& input = dirty_seg_inputs_.at(name);
    if (!PreProcessFromSingleImageCrop(images, input, cv::Size(width, height))) {
      TESSMAR_LOG_ERROR("PreProcess error");
      return false;
    }
  }

  timespec before = WallClock();
  const int status = dirty_seg_engine_->DoInference(dirty_seg_inputs_, dirty_seg_outputs_);
  timespec after = WallClock();
  TESSMAR_LOG_INFO("{}", StageTime("dirty seg detection inference", before, after));
  if (status != 0) {
    TESSMAR_LOG_ERROR("Dirty seg detection inference status is {}", status);
    return false;
  }

  auto objects = std::make_shared<DirtySegDetectorResData>();
  before = WallClock();
  PostProcess(images, dirty_seg_outputs_, objects);
  after = WallClock();
  TESSMAR_LOG_INFO("{}", StageTime("Dirty seg detection postprocess", before, after));

  before = WallClock();
  result = ConvertToDirtyStatusResult(images, objects);
  after = WallClock();
  TESSMAR_LOG_INFO("{}", StageTime("dirty seg detection convert result", before, after));
  return true;
}

bool DirtySegDetector::PreProcess(const ImageMap& images, AIBuff& input, const cv::Size& size) {
  TESSMAR_LOG_DEBUG("----------PreProcessImage() is called----------");
  std::size_t count = 0;
  for (const auto& [name, image] : images) {
    if (name.find("depth") != std::string::npos) continue;
    // A missing image is left to cv::resize, like an empty one: it names the fault.
    const cv::Mat source = image == nullptr ? cv::Mat() : *image;
    const cv::Size scaled =
        geometry::ScaleLongerSideTo(std::max(size.width, size.height), SizeOf(source));
    const cv::Mat& square = crop_images_[name] = MakeSquare(ScaleBilinearly(source, scaled));

    const InputSlot slot = FindSlot(input, square, count++);
    if (slot.first == nullptr && IsColorImage(square)) {
      TESSMAR_LOG_ERROR("Input buffer too small: {} bytes needed, {} bytes available",
                        slot.bytes_needed, slot.bytes_available);
      continue;
    }
    PopulateData(square, slot.first);
  }
  return true;
}

std::size_t DirtySegDetector::PopulateData(const cv::Mat& image, float* dst) {
  if (!IsColorImage(image)) {
    TESSMAR_LOG_ERROR("Invalid data");
    return 0;
  }
  PackUnitPlanes(image.data, image.step, image.rows, image.cols, dst);
  return TensorLength(image) * sizeof(float);
}

bool DirtySegDetector::PreProcessFromSingleImageCrop(const ImageMap& images, AIBuff& input,
                                                     const cv::Size& size) {
  TESSMAR_LOG_DEBUG("----------PreProcessFromSingleImageCrop()----------");
  const cv::Mat* color = FindImage(images, kColor);
  if (color == nullptr) {
    TESSMAR_LOG_ERROR("Invalid input image");
    return false;
  }
  // The memory of the last frame's crops serves again; nothing of their content does.
  std::map<std::string, cv::Mat> previous = std::move(crop_images_);
  crop_images_.clear();
  if (!patches_.empty()) {
    TESSMAR_LOG_INFO("Using predefined patches, count: {}", patches_.size());
  }

  std::size_t count = 0;
  for (const cv::Rect& patch : patches_) {
    const cv::Rect clipped = geometry::ClipFarEdges(patch, SizeOf(*color));
    if (clipped.width <= 0 || clipped.height <= 0) continue;
    const std::string name = "crop_" + std::to_string(count);
    const cv::Mat& square = crop_images_[name] = CutSquare(
        (*color)(clipped), std::max(size.width, size.height), TakeUnshared(previous, name));

    const InputSlot slot = FindSlot(input, square, count++);
    if (slot.first == nullptr && IsColorImage(square)) {
      TESSMAR_LOG_ERROR("Input buffer too small: {} bytes needed, {} bytes available",
                        slot.bytes_needed, slot.bytes_available);
      return false;
    }
    PopulateData(square, slot.first);
  }
  TESSMAR_LOG_INFO("Total crops: {}", count);
  return count > 0;
}

bool DirtySegDetector::PostProcess(const ImageMap& images, std::map<std::string, AIBuff>& outputs,
                                   std::shared_ptr<DirtySegDetectorResData>& result) {
  yolov8_postprocess_->PostProcess(outputs, result->patch_objects);
  int index = 0;
  for (const auto& [name, image] : images) {
    result->image_index[name] = index++;
    result->images[name] = image;
  }
  return true;
}

std::shared_ptr<DirtyStatusResultData> DirtySegDetector::ConvertToDirtyStatusResult(
    const ImageMap& images, const std::shared_ptr<DirtySegDetectorResData>& result) {
  auto status = std::make_shared<DirtyStatusResultData>();
  if (result == nullptr) {
    status->success = false;
    status->message = "inference failed";
    return status;
  }
  status->success = true;
  status->message = "success";

  std::map<int, cv::Mat> canvases;
  for (std::size_t p = 0; p < result->patch_objects.size(); ++p) {
    // Lists and rectangles are paired by position, also after a patch that took no batch slot.
    const cv::Point origin = p < patches_.size() ? patches_[p].tl() : cv::Point(0, 0);
    const auto px = static_cast<float>(origin.x);
    const auto py = static_cast<float>(origin.y);
    int object_count = 0;
    for (const Object& object : result->patch_objects[p]) {
      ++object_count;
      std::vector<float> bbox{object.x + px, object.y + py, (object.x + object.width) + px,
                              (object.y + object.height) + py};
      int label = object.label;
      if (config_->fece_enable && Contains(config_->fece_class_ids, label) &&
          judge_fece(images, bbox)) {
        label = kFeceLabel;
      }
      status->bboxes.push_back(std::move(bbox));
      status->scores.push_back(object.score);
      status->labels.push_back(label);
      if (object.mask.empty()) continue;
      AddMask(object.mask, origin, label, canvases, status->mask_pixel_counts);
    }
    TESSMAR_LOG_INFO("patch {} 检测出目标数量为 {}", p, object_count);
  }
  status->label_masks = std::move(canvases);
  return status;
}

bool DirtySegDetector::judge_fece(const ImageMap& images, const std::vector<float>& bbox) {
  if (bbox.size() != 4) {
    TESSMAR_LOG_ERROR("[FECE] Invalid bbox size: {}", bbox.size());
    return false;
  }
  const cv::Mat* color = FindImage(images, kColor);
  if (color == nullptr) {
    TESSMAR_LOG_ERROR("[FECE] Invalid color image");
    return false;
  }
  const std::optional<cv::Rect> box = geometry::ClampToImage(bbox, SizeOf(*color));
  if (!box) {
    TESSMAR_LOG_ERROR("[FECE] Invalid bbox: [{}, {}, {}, {}]", bbox[0], bbox[1], bbox[2], bbox[3]);
    return false;
  }
  const auto area = static_cast<float>(std::int64_t{box->width} * box->height);
  // Before Init there is no threshold; the missing buffer then ends the call.
  if (config_ != nullptr && area <= config_->fece_area_threshold) {
    TESSMAR_LOG_DEBUG("[FECE] bbox area too small: {}, threshold: {}, directly classify as class 0",
                      area, config_->fece_area_threshold);
    return false;
  }
  const cv::Mat crop = (*color)(*box).clone();
  if (crop.empty()) {
    TESSMAR_LOG_ERROR("[FECE] Crop image is empty");
    return false;
  }
  TESSMAR_LOG_INFO("[FECE] bbox=[{}, {}, {}, {}], crop={}x{}", box->x, box->y, box->x + box->width,
                   box->y + box->height, crop.cols, crop.rows);

  AIBuff* input = FindBuffer(fece_inputs_, kFeceInput);
  if (input == nullptr) {
    TESSMAR_LOG_ERROR("[FECE] Input buffer 'input' not found");
    return false;
  }
  if (!PreProcessFece(crop, *input)) {
    TESSMAR_LOG_ERROR("[FECE] PreProcess failed");
    return false;
  }
  const int status = fece_engine_->DoInference(fece_inputs_, fece_outputs_);
  if (status != 0) {
    TESSMAR_LOG_ERROR("fece inference status is {}", status);
    return false;
  }
  AIBuff* output = FindBuffer(fece_outputs_, kFeceOutput);
  if (output == nullptr) {
    TESSMAR_LOG_ERROR("[FECE] Output 'output' not found");
    return false;
  }
  if (StorageSize(*output) < kFeceOutputBytes) {
    TESSMAR_LOG_ERROR("[FECE] Invalid output buffer");
    return false;
  }
  const float* logits = Floats(*output);
  const Verdict verdict = Classify(logits[0], logits[1]);
  TESSMAR_LOG_INFO("[FECE] logits=[{}, {}], prob=[{}, {}], class_id={}, score={}", logits[0],
                   logits[1], verdict.p0, verdict.p1, verdict.class_id, verdict.score);
  return verdict.class_id == 1 && verdict.p1 > config_->fece_score_threshold;
}

bool DirtySegDetector::PreProcessFece(const cv::Mat& crop, AIBuff& input) {
  if (crop.empty()) {
    TESSMAR_LOG_ERROR("[FECE] Empty crop image");
    return false;
  }
  if (Floats(input) == nullptr) {
    TESSMAR_LOG_ERROR("[FECE] Invalid input buffer");
    return false;
  }
  const cv::Mat resized = ResizeUnshared(crop, cv::Size(kFeceSide, kFeceSide));
  if (resized.type() != CV_8UC3) {
    TESSMAR_LOG_ERROR("[FECE] Invalid image type: {}", resized.type());
    return false;
  }
  if (StorageSize(input) < kFeceInputBytes) {
    TESSMAR_LOG_ERROR("[FECE] Invalid input buffer");
    return false;
  }
  PackNormalisedPlanes(resized.data, resized.step, kFeceSide, kFeceSide, Floats(input));
  return true;
}

cv::Mat DirtySegDetector::MakeSquare(const cv::Mat& image) { return PadSquare(image); }

}  // namespace nuvik::perception::dirty_seg_detector
