// A double of the engine library: it writes down what the detector asks of it and answers as a
// test has scripted.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <map>
#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "engine/ai_engine.h"
#include "engine/export.h"
#include "engine/yolov8_postprocess.h"

namespace scripted_engine {

using BufferMap = std::map<std::string, nuvik::alg::common::AIBuff>;
using ObjectLists = std::vector<std::vector<nuvik::model::Object>>;

/// Values of `Call::operation`.
inline constexpr const char* kMakeEngine = "AIEngine()";
inline constexpr const char* kDropEngine = "~AIEngine()";
inline constexpr const char* kInit = "AIEngine::Init";
inline constexpr const char* kInfer = "AIEngine::DoInference";
inline constexpr const char* kMakePostprocess = "Yolov8Postprocess()";
inline constexpr const char* kDropPostprocess = "~Yolov8Postprocess()";
inline constexpr const char* kPostProcess = "Yolov8Postprocess::PostProcess";
inline constexpr const char* kMakeRecord = "DataBase()";
inline constexpr const char* kDropRecord = "~DataBase()";
inline constexpr const char* kToString = "std::to_string";

/// One call as it came in. What an operation does not have stays empty.
struct Call {
  std::string operation;
  /// Model path of the configuration given, or of the one that the object was set up with.
  std::string model_path;
  /// Addresses of the configuration or the buffer maps given.
  const void* config = nullptr;
  const void* inputs = nullptr;
  const void* outputs = nullptr;
  /// Bytes of storage of each buffer given, by name.
  std::map<std::string, std::size_t> input_bytes;
  std::map<std::string, std::size_t> output_bytes;
  std::vector<cv::Size> patch_sizes;
  /// The post-processor's YAML root, as text.
  std::string yaml;
  /// Argument of std::to_string, or the name of a record.
  std::string text;
};

/// What the double answers. Statuses are used up front first and are 0 from then on; the functions
/// may throw.
struct Script {
  std::deque<int> init_statuses;
  std::deque<int> inference_statuses;
  int post_process_status = 0;
  /// Assigned to the result of every `PostProcess`.
  ObjectLists objects;

  std::function<void()> on_init;
  std::function<void(const std::string& model_path, BufferMap& inputs, BufferMap& outputs)>
      on_inference;
  std::function<void()> on_make_postprocess;
  std::function<void()> on_make_record;
  /// Called with the result as it came in.
  std::function<void(BufferMap& outputs, ObjectLists& objects)> on_post_process;
  /// Replaces the overload of std::to_string, which returns its argument.
  std::function<std::string(const std::string& text)> to_string;
};

NUVIK_EXPORT Script& GetScript();

/// Every call of this thread since its last `Reset`, in order.
NUVIK_EXPORT const std::vector<Call>& Calls();

/// The same, only those of one operation.
NUVIK_EXPORT std::vector<Call> CallsOf(const std::string& operation);

/// The operations called, in order.
NUVIK_EXPORT std::vector<std::string> Operations();

/// Forgets the calls of this thread, and the script, which is everybody's.
NUVIK_EXPORT void Reset();

}  // namespace scripted_engine
