// Inference engine of the platform: tensor buffers, network configuration, engine.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "engine/export.h"

namespace nuvik::alg::common {

/// Element kinds of a tensor, as `AIBuff::data_type` and the type maps of `AIEngineConfig` code
/// them. Any other code is sized as four bytes an element and refused by the bundled engine.
enum AIDataType : std::uint32_t {
  kAIUint8 = 0,    ///< 1 byte
  kAIFloat16 = 1,  ///< 2 bytes, IEEE 754 binary16
  kAIFloat32 = 2,  ///< 4 bytes
  kAIInt32 = 3,    ///< 4 bytes
  kAIInt64 = 4,    ///< 8 bytes
  kAIFloat64 = 5,  ///< 8 bytes
};

/// Where a tensor's bytes live. The bundled engine computes on the processor and takes host memory
/// only; the other codes are the platform's.
enum AIMemoryType : std::int32_t {
  kAIHostMemory = 0,
};

/// Results of `AIEngine::DoInference` of the bundled engine. Whatever the engine, 0 is success.
enum AIStatus : int {
  kAIOk = 0,
  kAINotInitialised = 1,  ///< `Init` has not succeeded on this engine
  kAIMissingBuffer = 2,   ///< a configured tensor has no buffer in the map, or one without storage
  kAIWrongSize = 3,       ///< a buffer's storage is not exactly as long as its tensor
  kAIWrongMemory = 4,     ///< a buffer's `memory_type` is not host memory
  kAIRuntimeFailure = 5,  ///< the runtime gave an error; its text went to standard error
};

/// One tensor. Copies share the storage.
struct AIBuff {
  /// Byte storage, elements in row-major order from `data->data()`. Never null after default
  /// construction: an empty vector.
  std::shared_ptr<std::vector<std::uint8_t>> data = std::make_shared<std::vector<std::uint8_t>>();
  /// Element kind, an `AIDataType`.
  std::uint32_t data_type = kAIFloat32;
  /// Where `data` lives, an `AIMemoryType`.
  std::int32_t memory_type = kAIHostMemory;
  /// Device that holds `data` when it is not host memory.
  std::int32_t device_id = 0;
  /// Dimensions, outermost first. Empty on input buffers that the detector makes.
  std::vector<std::int64_t> shape;
  /// Number of batch slots that hold data of the current frame; 0 means all. For the host's use:
  /// the bundled engine always runs the whole batch.
  std::int32_t used_slots = 0;
};

/// Maximum number of threads of the bundled engine. If the system refuses to start one that slots
/// run on, `Init` fails; one that the operators share, `Init` fails or, by a fault of the runtime,
/// never returns.
inline constexpr std::int32_t kAIMaxThreads = 1024;

/// Configuration of one network. Every map is keyed by tensor name.
/// `ReadNetwork` (network_reader.h) fills one from an ONNX file.
struct AIEngineConfig {
  /// Path of the model file; ONNX for the bundled engine.
  std::string model_path;
  /// Byte length of each input tensor.
  std::map<std::string, std::int32_t> input_sizes;
  /// Byte length of each output tensor; 0 leaves the length to the shape. The keys choose which of
  /// the network's outputs are computed into buffers.
  std::map<std::string, std::int32_t> output_sizes;
  /// Dimensions of each input tensor, N, C, H, W. All positive, also where the network leaves a
  /// dimension open. Where the network's own N is 1 or open for every tensor, N may be any number
  /// of slots, the same for all: the bundled engine runs the network once for each slot, as many at
  /// a time as there are threads.
  std::map<std::string, std::vector<std::int64_t>> input_shapes;
  /// Dimensions of each output tensor, all positive.
  std::map<std::string, std::vector<std::int64_t>> output_shapes;
  /// `AIMemoryType` of each tensor; a name without an entry is host memory.
  std::map<std::string, std::int32_t> input_memory_types;
  std::map<std::string, std::int32_t> output_memory_types;
  /// `AIDataType` of each tensor. An input without an entry is float32.
  std::map<std::string, std::uint32_t> input_types;
  std::map<std::string, std::uint32_t> output_types;
  /// Threads that one inference uses, the caller's included, up to `kAIMaxThreads`; 0 is one for
  /// each processor core. Results are the same to the bit whatever their number. They sleep between
  /// inferences.
  std::int32_t thread_count = 0;
  /// Device that computes. The bundled engine supports only 0, the processor.
  std::int32_t device_id = 0;
};

/// One network, loaded and ready to run.
///
/// An engine is used by one thread at a time; separate engines are independent. Every call is
/// synchronous. No call throws. An engine cannot be copied.
class NUVIK_EXPORT AIEngine {
 public:
  AIEngine();
  ~AIEngine();
  AIEngine(const AIEngine&) = delete;
  AIEngine& operator=(const AIEngine&) = delete;

  /// Loads the network, holds it against `config` and runs it once on zeros, so that the first
  /// frame costs no more than the second. A second call replaces the network; a failed one leaves
  /// none.
  ///
  /// Returns 0, or a negative value after writing one line to standard error that names the file,
  /// the tensor where there is one, what was found and what was expected: the file is missing,
  /// truncated or no ONNX network; a configured name is unknown to the network or an input of the
  /// network is not configured; a type, rank, dimension or byte length does not fit; the thread
  /// count is out of range or the device unknown; the trial run failed; the file asks for what is
  /// known to end the process in the runtime; a thread cannot be started.
  int Init(const AIEngineConfig& config);

  /// Runs the network on the buffers' own storage: reads `inputs`, overwrites `outputs` in place.
  /// Buffers that the configuration does not name are left alone. Returns an `AIStatus`; unless it
  /// is `kAIOk` or `kAIRuntimeFailure`, no buffer was touched.
  int DoInference(std::map<std::string, AIBuff>& inputs, std::map<std::string, AIBuff>& outputs);

 private:
  class Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace nuvik::alg::common
