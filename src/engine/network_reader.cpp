#include "engine/network_reader.h"

#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "common/diagnostics.h"
#include "engine/onnx_file.h"
#include "engine/onnx_session.h"
#include "network/tensor.h"

namespace nuvik::alg::common {
namespace {

// Without dimensions it may be a scalar as well as a rank that the file does not tell.
bool IsOpen(const Shape& shape) {
  return shape.empty() ||
         std::any_of(shape.begin(), shape.end(), [](std::int64_t size) { return size < 0; });
}

Shape CloseInputShape(Shape shape, const OpenDimensions& open) {
  const auto close = [&shape](std::size_t axis, std::int64_t size) {
    if (axis < shape.size() && shape[axis] < 0) shape[axis] = size;
  };
  close(0, open.batch);
  if (shape.size() == 4) {
    close(2, open.height);
    close(3, open.width);
  }
  return shape;
}

void CheckType(const TensorInfo& info) {
  if (info.data_type) return;
  throw std::invalid_argument("tensor '" + info.name + "' is " + info.type_name +
                              "; expected uint8, float16, float32, int32, int64 or float64");
}

Tensor MakeTensor(const TensorInfo& info, Shape shape) {
  CheckType(info);
  const std::optional<std::size_t> bytes = TensorBytes(*info.data_type, shape);
  if (!bytes) {
    throw std::invalid_argument("tensor '" + info.name + "' has shape " + ShapeText(shape) + "; " +
                                kSizeExpectation);
  }
  return {info.name, *info.data_type, std::move(shape), *bytes};
}

std::vector<Tensor> DescribeInputs(const OnnxSession& session, const OpenDimensions& open) {
  std::vector<Tensor> tensors;
  for (const TensorInfo& info : session.inputs()) {
    tensors.push_back(MakeTensor(info, CloseInputShape(info.shape, open)));
  }
  return tensors;
}

// A run may fail of nothing but the sizes that were put in for open dimensions.
std::vector<Shape> TrialShapes(OnnxSession& session, const std::vector<Tensor>& inputs) try {
  return session.TrialShapes(inputs);
} catch (const SessionError& error) {
  std::string shapes;
  for (const Tensor& input : inputs) {
    shapes += (shapes.empty() ? "" : ", ") + ShapeText(input.shape);
  }
  throw SessionError("fails in a trial run on zeros of shape " + shapes + ": " + error.what());
}

std::vector<Tensor> DescribeOutputs(OnnxSession& session, const std::vector<Tensor>& inputs) {
  std::vector<Shape> shapes;
  bool any_open = false;
  for (const TensorInfo& info : session.outputs()) {
    CheckType(info);  // a trial run would give no shape of what is not a tensor
    shapes.push_back(info.shape);
    any_open = any_open || IsOpen(info.shape);
  }
  if (any_open) shapes = TrialShapes(session, inputs);
  std::vector<Tensor> tensors;
  for (std::size_t i = 0; i < shapes.size(); ++i) {
    tensors.push_back(MakeTensor(session.outputs()[i], shapes[i]));
  }
  return tensors;
}

// The metadata is a mapping in Python's notation, which is YAML's flow style too. Names are an aid
// for people: a text that is not such a mapping is not an error.
std::map<std::int32_t, std::string> ReadClassNames(const std::string& metadata) {
  std::map<std::int32_t, std::string> names;
  try {
    const YAML::Node node = YAML::Load(metadata);
    if (!node.IsMap()) return names;
    for (const auto& entry : node) {
      names[entry.first.as<std::int32_t>()] = entry.second.as<std::string>();
    }
  } catch (const YAML::Exception&) {
    names.clear();
  }
  return names;
}

struct Tensors {
  std::vector<Tensor> inputs;
  std::vector<Tensor> outputs;
};

Tensors DescribeTensors(OnnxSession& session, const OpenDimensions& open) {
  Tensors tensors;
  tensors.inputs = DescribeInputs(session, open);
  tensors.outputs = DescribeOutputs(session, tensors.inputs);
  return tensors;
}

bool HaveOneSlot(const std::vector<Tensor>& tensors) {
  return std::all_of(tensors.begin(), tensors.end(), [](const Tensor& tensor) {
    return !tensor.shape.empty() && tensor.shape[0] == 1;
  });
}

// The tensors of one slot, where the network computes one at a time.
std::optional<Tensors> DescribeOneSlot(OnnxSession& session, OpenDimensions open) try {
  open.batch = 1;
  Tensors tensors = DescribeTensors(session, open);
  if (!HaveOneSlot(tensors.inputs) || !HaveOneSlot(tensors.outputs)) return std::nullopt;
  return tensors;
} catch (const SessionError&) {
  return std::nullopt;  // a batch that the file leaves open may be another size inside
}

void Repeat(std::int64_t slots, const OnnxSession& session, Tensors& tensors) {
  const auto repeat = [slots](const std::vector<TensorInfo>& infos, std::vector<Tensor>& list) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      list[i].shape[0] = slots;
      list[i] = MakeTensor(infos[i], std::move(list[i].shape));
    }
  };
  repeat(session.inputs(), tensors.inputs);
  repeat(session.outputs(), tensors.outputs);
}

Network Describe(const std::string& model_path, const OpenDimensions& open) {
  CheckModelFile(model_path);
  OnnxSession session(model_path, 1, SessionUse::kDescribe);
  Network network;
  network.class_names = ReadClassNames(session.Metadata("names"));
  std::optional<Tensors> tensors = DescribeOneSlot(session, open);
  network.takes_any_batch = tensors.has_value();
  if (tensors) {
    Repeat(open.batch, session, *tensors);
  } else {
    tensors = DescribeTensors(session, open);
  }
  AIEngineConfig& config = network.config;
  config.model_path = model_path;
  for (const Tensor& tensor : tensors->inputs) {
    config.input_sizes[tensor.name] = static_cast<std::int32_t>(tensor.bytes);
    config.input_shapes[tensor.name] = tensor.shape;
    config.input_types[tensor.name] = tensor.data_type;
  }
  for (const Tensor& tensor : tensors->outputs) {
    config.output_sizes[tensor.name] = static_cast<std::int32_t>(tensor.bytes);
    config.output_shapes[tensor.name] = tensor.shape;
    config.output_types[tensor.name] = tensor.data_type;
  }
  return network;
}

}  // namespace

int ReadNetwork(const std::string& model_path, const OpenDimensions& open, Network& network,
                std::string& error) {
  try {
    network = Describe(model_path, open);
    return 0;
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception& cause) {
    error = PrintableLine("'" + model_path + "': " + cause.what());
    return -1;
  }
}

}  // namespace nuvik::alg::common
