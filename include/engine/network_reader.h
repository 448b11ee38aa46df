// Reads what an ONNX file says of itself. An addition of the bundled engine.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "engine/ai_engine.h"
#include "engine/export.h"

namespace nuvik::alg::common {

/// Sizes for the dimensions that a network leaves open.
struct OpenDimensions {
  /// Also for a batch that the file fixes at 1: the engine then runs slot by slot.
  std::int64_t batch = 1;
  std::int64_t height = 640;
  std::int64_t width = 640;
};

struct Network {
  /// Ready for `AIEngine::Init`: path, names, byte lengths, shapes and types.
  AIEngineConfig config;
  /// Class id to name, from the metadata entry `names`; empty where the file has none.
  std::map<std::int32_t, std::string> class_names;
  /// Whether it serves any number of batch slots, each on its own: the batch of every input and
  /// output is 1 in the file, or open.
  bool takes_any_batch = false;
};

/// Fills `network` from the ONNX file at `model_path`.
///
/// The first dimension of all tensors is `open.batch` where the network takes any. Otherwise an
/// open first dimension takes that size. Of a rank-4 input the third and fourth take `open.height`
/// and `open.width`; shapes of outputs with open dimensions are those that a trial run on zeros
/// gives. Other open dimensions are an error.
///
/// Returns 0, or a negative value with the cause in `error`: one line for people that begins with
/// the file, "'PATH': ". What is not set stays unchanged, `network` or `error`. Writes nothing.
/// Throws nothing but std::bad_alloc.
NUVIK_EXPORT int ReadNetwork(const std::string& model_path, const OpenDimensions& open,
                             Network& network, std::string& error);

}  // namespace nuvik::alg::common
