#include "engine/onnx_session.h"

#include <onnxruntime_cxx_api.h>

#include <fstream>

#include "engine/file_look.h"
#include "engine/runtime_words.h"
#include "network/telemetry.h"

namespace nuvik::alg::common {
namespace {

// Types behind the 64-bit integers, such as complex numbers, are told by their number.
constexpr ONNXTensorElementDataType kLastNamed = ONNX_TENSOR_ELEMENT_DATA_TYPE_UINT64;

std::string ElementName(ONNXTensorElementDataType type) {
  const bool is_named = type > ONNX_TENSOR_ELEMENT_DATA_TYPE_UNDEFINED && type <= kLastNamed;
  return is_named ? OnnxTypeName(type) : "ONNX element type " + std::to_string(type);
}

TensorInfo ReadTensorInfo(const std::string& name, const Ort::TypeInfo& type) {
  TensorInfo info{name, std::nullopt, kNotATensor, {}};
  if (type.GetONNXType() != ONNX_TYPE_TENSOR) return info;
  const auto tensor = type.GetTensorTypeAndShapeInfo();
  info.shape = tensor.GetShape();
  const ONNXTensorElementDataType onnx = tensor.GetElementType();
  info.data_type = TypeOfOnnx(onnx);
  info.type_name = ElementName(onnx);
  return info;
}

std::string WordsOf(const Ort::Exception& error) { return PlainWords(error.what()); }

// Of a failure to load `path`, which the caller names.
std::string WordsOf(const Ort::Exception& error, const std::string& path) {
  const std::string words = WordsOf(error);
  const std::string beginning = "Load model from " + path + " failed:";
  return words.compare(0, beginning.size(), beginning) == 0 ? words.substr(beginning.size())
                                                            : words;
}

// One environment for the process. The runtime's own log stays silent: its errors come back as
// exceptions and are told once.
Ort::Env& Environment() {
  static Ort::Env environment = [] {
    SwitchTelemetryOff();  // the runtime's own switch comes too late
    return Ort::Env(ORT_LOGGING_LEVEL_FATAL, "tessmar_ai_engine");
  }();
  return environment;
}

Ort::SessionOptions MakeOptions(int threads, SessionUse use) {
  Ort::SessionOptions options;
  options.SetIntraOpNumThreads(threads);
  options.SetInterOpNumThreads(1);
  options.SetExecutionMode(ORT_SEQUENTIAL);
  options.SetGraphOptimizationLevel(use == SessionUse::kRun ? ORT_ENABLE_ALL : ORT_DISABLE_ALL);
  // Threads spin for the next operator, which comes at once; between two frames they would take a
  // whole core from the rest of the robot.
  options.AddConfigEntry("session.force_spinning_stop", "1");
  return options;
}

Ort::Session LoadSession(const std::string& path, int threads, SessionUse use) try {
  return Ort::Session(Environment(), path.c_str(), MakeOptions(threads, use));
} catch (const Ort::Exception& error) {
  std::ifstream file(path, std::ios::binary);
  const std::string look = LookOfNoNetwork(file);
  if (!look.empty()) throw SessionError(look);
  throw SessionError("is not a usable ONNX network: " + WordsOf(error, path));
}

Ort::Value Wrap(const Ort::MemoryInfo& memory, const BoundTensor& bound) {
  const Tensor& tensor = *bound.tensor;
  return Ort::Value::CreateTensor(
      memory, bound.data, tensor.bytes, tensor.shape.data(), tensor.shape.size(),
      static_cast<ONNXTensorElementDataType>(OnnxOfType(tensor.data_type)));
}

// Names and values in the form that the runtime's calls take.
struct Arguments {
  std::vector<const char*> names;
  std::vector<Ort::Value> values;
};

Arguments WrapAll(const Ort::MemoryInfo& memory, const std::vector<BoundTensor>& tensors) {
  Arguments arguments;
  for (const BoundTensor& bound : tensors) {
    arguments.names.push_back(bound.tensor->name.c_str());
    arguments.values.push_back(Wrap(memory, bound));
  }
  return arguments;
}

}  // namespace

class OnnxSession::Impl {
 public:
  Impl(const std::string& path, int threads, SessionUse use)
      : session(LoadSession(path, threads, use)) {
    Ort::AllocatorWithDefaultOptions allocator;
    for (std::size_t i = 0; i < session.GetInputCount(); ++i) {
      inputs.push_back(ReadTensorInfo(session.GetInputNameAllocated(i, allocator).get(),
                                      session.GetInputTypeInfo(i)));
    }
    for (std::size_t i = 0; i < session.GetOutputCount(); ++i) {
      outputs.push_back(ReadTensorInfo(session.GetOutputNameAllocated(i, allocator).get(),
                                       session.GetOutputTypeInfo(i)));
    }
  }

  Ort::Session session;
  Ort::MemoryInfo memory = Ort::MemoryInfo::CreateCpu(OrtArenaAllocator, OrtMemTypeDefault);
  std::vector<TensorInfo> inputs;
  std::vector<TensorInfo> outputs;
};

OnnxSession::OnnxSession(const std::string& path, int threads, SessionUse use) try
    : impl_(std::make_unique<Impl>(path, threads, use)) {
} catch (const Ort::Exception& error) {
  throw SessionError(WordsOf(error));
}

OnnxSession::~OnnxSession() = default;

const std::vector<TensorInfo>& OnnxSession::inputs() const { return impl_->inputs; }

const std::vector<TensorInfo>& OnnxSession::outputs() const { return impl_->outputs; }

std::string OnnxSession::Metadata(const std::string& key) const try {
  Ort::AllocatorWithDefaultOptions allocator;
  const auto value =
      impl_->session.GetModelMetadata().LookupCustomMetadataMapAllocated(key.c_str(), allocator);
  return value == nullptr ? "" : value.get();
} catch (const Ort::Exception& error) {
  throw SessionError(WordsOf(error));
}

void OnnxSession::Run(const std::vector<BoundTensor>& inputs,
                      const std::vector<BoundTensor>& outputs) try {
  Arguments in = WrapAll(impl_->memory, inputs);
  Arguments out = WrapAll(impl_->memory, outputs);
  impl_->session.Run(Ort::RunOptions{nullptr}, in.names.data(), in.values.data(), in.values.size(),
                     out.names.data(), out.values.data(), out.values.size());
} catch (const Ort::Exception& error) {
  throw SessionError(WordsOf(error));
}

std::vector<Shape> OnnxSession::TrialShapes(const std::vector<Tensor>& inputs) try {
  std::vector<std::vector<std::uint8_t>> zeros;
  std::vector<BoundTensor> bound;
  bound.reserve(inputs.size());
  for (const Tensor& tensor : inputs) {
    bound.push_back({&tensor, zeros.emplace_back(tensor.bytes).data()});
  }
  Arguments in = WrapAll(impl_->memory, bound);
  std::vector<const char*> names;
  names.reserve(impl_->outputs.size());
  for (const TensorInfo& output : impl_->outputs) names.push_back(output.name.c_str());
  const std::vector<Ort::Value> values =
      impl_->session.Run(Ort::RunOptions{nullptr}, in.names.data(), in.values.data(),
                         in.values.size(), names.data(), names.size());
  std::vector<Shape> shapes;
  shapes.reserve(values.size());
  for (const Ort::Value& value : values) {
    shapes.push_back(value.GetTensorTypeAndShapeInfo().GetShape());
  }
  return shapes;
} catch (const Ort::Exception& error) {
  throw SessionError(WordsOf(error));
}

}  // namespace nuvik::alg::common
