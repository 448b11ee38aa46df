#include "support/tiny_network.h"

#include "support/wire.h"

namespace nuvik::test {
namespace {

std::string ShapeOf(const std::vector<std::int64_t>& shape) {
  std::string dimensions;
  for (std::size_t axis = 0; axis < shape.size(); ++axis) {
    dimensions += Bytes(1, shape[axis] < 0 ? Bytes(2, "open" + std::to_string(axis))
                                           : Number(1, static_cast<std::uint64_t>(shape[axis])));
  }
  return dimensions;
}

// ValueInfoProto: name, type { tensor_type { elem_type, shape } }, or
// type { sequence_type { elem_type { tensor_type } } }.
std::string Describe(const TinyTensor& tensor) {
  std::string type = Number(1, static_cast<std::uint64_t>(tensor.type));
  if (tensor.shape) type += Bytes(2, ShapeOf(*tensor.shape));
  const std::string value = Bytes(1, type);
  return Bytes(1, tensor.name) + Bytes(2, tensor.is_sequence ? Bytes(4, Bytes(1, value)) : value);
}

}  // namespace

std::string Serialise(const TinyNetwork& network) {
  std::string node;
  std::string graph;
  for (const TinyTensor& tensor : network.inputs) {
    node += Bytes(1, tensor.name);
    graph += Bytes(11, Describe(tensor));
  }
  for (const TinyTensor& tensor : network.outputs) {
    node += Bytes(2, tensor.name);
    graph += Bytes(12, Describe(tensor));
  }
  graph += Bytes(1, node + Bytes(4, network.operation)) + Bytes(2, "tiny");
  // ir_version 8, operator set 17.
  std::string model = Number(1, 8) + Bytes(7, graph) + Bytes(8, Number(2, 17));
  if (network.class_names) model += Bytes(14, Bytes(1, "names") + Bytes(2, *network.class_names));
  return model;
}

TinyNetwork PassOn(OnnxType type, const std::vector<std::int64_t>& shape) {
  return {"Identity", {{"x", type, shape}}, {{"y", type, shape}}, std::nullopt};
}

}  // namespace nuvik::test
