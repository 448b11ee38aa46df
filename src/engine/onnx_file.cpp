#include "engine/onnx_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <system_error>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/session_error.h"
#include "network/onnx_fields.h"
#include "network/onnx_message.h"

namespace nuvik::alg::common {
namespace {

using Message = OnnxMessage;

// Of messages in messages; the runtime's own reader stops there too.
constexpr int kMaxDepth = 100;
constexpr std::uint64_t kMaxNodes = 1000000;
constexpr std::int64_t kMaxDivisor = 65536;  // its square does not overflow
constexpr std::uint64_t kWholeName = ~std::uint64_t{0};

struct Operator {
  std::string domain;
  std::string name;
  std::string overload;

  bool operator<(const Operator& other) const {
    return std::tie(domain, name, overload) < std::tie(other.domain, other.name, other.overload);
  }
};

struct Node {
  std::string name;
  Operator op;
  std::vector<std::string> inputs;

  std::string Text() const { return "node '" + name + "' (" + op.name + ")"; }
};

// What a graph or a function holds, graphs within it too.
struct Body {
  std::vector<Node> nodes;
  std::set<std::string> made;  // names of nodes' outputs and of initializers
};

struct Attribute {
  std::string name;
  std::int64_t integer = 0;
};

// NOLINTBEGIN(misc-no-recursion): messages hold messages, as deep as kMaxDepth
void AddGraph(Message graph, int depth, Body& body);

Attribute ReadAttribute(Message message, int depth, Body& body) {
  Attribute read;
  while (message.Next()) {
    switch (message.field()) {
      case onnx::attribute::kName:
        read.name = message.Text();
        break;
      case onnx::attribute::kInteger:
        read.integer = message.integer();
        break;
      case onnx::attribute::kGraph:
      case onnx::attribute::kGraphs:
        AddGraph(message.message(), depth + 1, body);
        break;
      default:
        break;
    }
  }
  return read;
}

// The attribute of that operator by which the runtime divides without a look; empty: none.
const char* DivisorOf(const std::string& name) {
  if (name == "Conv" || name == "ConvTranspose") return "group";
  if (name == "DepthToSpace" || name == "SpaceToDepth") return "blocksize";
  return "";
}

void CheckDivisors(const Node& node, const std::vector<Attribute>& attributes) {
  const std::string divisor = DivisorOf(node.op.name);
  if (divisor.empty()) return;
  for (const Attribute& attribute : attributes) {
    if (attribute.name != divisor) continue;
    if (attribute.integer >= 1 && attribute.integer <= kMaxDivisor) continue;
    throw SessionError(node.Text() + " has " + divisor + " " + std::to_string(attribute.integer) +
                       "; expected 1 to " + std::to_string(kMaxDivisor));
  }
}

[[noreturn]] void RefuseNodes() {
  throw SessionError("has more than " + std::to_string(kMaxNodes) +
                     " nodes once its functions are put in");
}

void AddNode(Message message, int depth, Body& body) {
  if (body.nodes.size() == kMaxNodes) RefuseNodes();
  Node node;
  std::vector<Attribute> attributes;
  while (message.Next()) {
    switch (message.field()) {
      case onnx::node::kInput:
        node.inputs.push_back(message.Text(kWholeName));
        break;
      case onnx::node::kOutput:
        body.made.insert(message.Text(kWholeName));
        break;
      case onnx::node::kName:
        node.name = message.Text();
        break;
      case onnx::node::kOperator:
        node.op.name = message.Text();
        break;
      case onnx::node::kDomain:
        node.op.domain = message.Text();
        break;
      case onnx::node::kOverload:
        node.op.overload = message.Text();
        break;
      case onnx::node::kAttribute:
        attributes.push_back(ReadAttribute(message.message(), depth + 1, body));
        break;
      default:
        break;
    }
  }
  CheckDivisors(node, attributes);
  body.nodes.push_back(std::move(node));
}

void AddInitializer(Message tensor, Body& body) {
  while (tensor.Next()) {
    if (tensor.field() == onnx::tensor::kName) body.made.insert(tensor.Text(kWholeName));
  }
}

void AddSparseInitializer(Message message, Body& body) {
  while (message.Next()) {
    if (message.field() == onnx::sparse_tensor::kValues) AddInitializer(message.message(), body);
  }
}

void AddGraph(Message graph, int depth, Body& body) {
  if (depth > kMaxDepth) {
    throw SessionError("has graphs within graphs deeper than " + std::to_string(kMaxDepth) +
                       " messages");
  }
  while (graph.Next()) {
    if (graph.field() == onnx::graph::kNode) AddNode(graph.message(), depth + 1, body);
    if (graph.field() == onnx::graph::kInitializer) AddInitializer(graph.message(), body);
    if (graph.field() == onnx::graph::kSparseInitializer) {
      AddSparseInitializer(graph.message(), body);
    }
  }
}
// NOLINTEND(misc-no-recursion)

// Of such an operator the runtime reads the type of every input, also of one that is left out.
bool NeedsEveryInput(const std::string& operator_name) {
  constexpr std::array<const char*, 6> kNames{"Einsum", "LayerNormalization", "Max", "Mean", "Min",
                                              "Sum"};
  return std::find(kNames.begin(), kNames.end(), operator_name) != kNames.end();
}

// The functions that a file defines, put in for the nodes that call them.
class Functions {
 public:
  void Add(Message message) {
    Operator op;
    Function function;
    Body body;
    while (message.Next()) {
      switch (message.field()) {
        case onnx::function::kName:
          op.name = message.Text();
          break;
        case onnx::function::kDomain:
          op.domain = message.Text();
          break;
        case onnx::function::kOverload:
          op.overload = message.Text();
          break;
        case onnx::function::kInput:
          function.inputs.push_back(message.Text(kWholeName));
          break;
        case onnx::function::kNode:
          AddNode(message.message(), 1, body);
          break;
        default:
          break;
      }
    }
    for (const std::string& input : function.inputs) {
      if (body.made.count(input) == 0) continue;
      throw SessionError("function '" + op.name + "' makes its own input '" + input +
                         "'; expected another name for it");
    }
    function.nodes = std::move(body.nodes);
    functions_[op] = std::move(function);
  }

  // NOLINTBEGIN(misc-no-recursion): functions call functions, as deep as kMaxDepth
  // Checks the inputs of `nodes` and of all functions that they come to, and how many nodes that
  // makes, as far as kMaxNodes.
  std::uint64_t Check(const std::vector<Node>& nodes, int depth = 0) {
    std::uint64_t count = 0;
    for (const Node& node : nodes) {
      const std::uint64_t each = CheckFunctionOf(node.op, depth);
      if (each > kMaxNodes - count) RefuseNodes();
      count += each;
      CheckInputs(node);
    }
    return count;
  }

 private:
  struct Function {
    std::vector<std::string> inputs;
    std::vector<Node> nodes;
    std::optional<std::uint64_t> count;  // of nodes, once they are checked, and so is `needed`
    std::set<std::string> needed;        // inputs that no call may leave out
  };

  std::uint64_t CheckFunctionOf(const Operator& op, int depth) {
    const auto found = functions_.find(op);
    if (found == functions_.end()) return 1;
    if (depth == kMaxDepth) {
      throw SessionError("function '" + op.name + "' is called more than " +
                         std::to_string(kMaxDepth) + " functions deep, or by itself");
    }
    Function& function = found->second;
    if (!function.count) {
      function.count = 1 + Check(function.nodes, depth + 1);
      function.needed = NeededOf(function);
    }
    return *function.count;
  }
  // NOLINTEND(misc-no-recursion)

  void CheckInputs(const Node& node) const {
    const auto function = functions_.find(node.op);
    std::size_t count = node.inputs.size();
    if (function != functions_.end()) {
      const std::size_t most = function->second.inputs.size();
      if (count > most) {
        throw SessionError(node.Text() + " has " + std::to_string(count) +
                           " inputs; expected at most " + std::to_string(most) +
                           ", as its function has");
      }
      count = most;
    }
    for (std::size_t i = 0; i < count; ++i) {
      const bool is_given = i < node.inputs.size() && !node.inputs[i].empty();
      if (is_given || !Needs(node.op, i)) continue;
      throw SessionError(node.Text() + " leaves out input " + std::to_string(i + 1) +
                         "; expected the name of a value");
    }
  }

  std::set<std::string> NeededOf(const Function& function) const {
    const std::set<std::string> own(function.inputs.begin(), function.inputs.end());
    std::set<std::string> needed;
    for (const Node& node : function.nodes) {
      for (std::size_t i = 0; i < node.inputs.size(); ++i) {
        if (own.count(node.inputs[i]) > 0 && Needs(node.op, i)) needed.insert(node.inputs[i]);
      }
    }
    return needed;
  }

  bool Needs(const Operator& op, std::size_t input) const {
    const auto function = functions_.find(op);
    if (function == functions_.end()) return NeedsEveryInput(op.name);
    return function->second.needed.count(function->second.inputs[input]) > 0;
  }

  std::map<Operator, Function> functions_;
};

}  // namespace

void CheckOnnxFile(std::istream& file) {
  Message model = Message::Whole(file);
  Body main;
  Functions functions;
  while (model.Next()) {
    if (model.field() == onnx::model::kGraph) AddGraph(model.message(), 1, main);
    if (model.field() == onnx::model::kFunction) functions.Add(model.message());
  }
  functions.Check(main.nodes);
}

OnnxDescription CheckModelFile(const std::string& path) {
  std::error_code error;
  const std::filesystem::file_status status = std::filesystem::status(path, error);
  if (std::filesystem::is_directory(status)) {
    throw SessionError("is a folder; expected an ONNX file");
  }
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    throw SessionError("is not a regular file; expected an ONNX file");
  }
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (!error && size > kMaxOnnxBytes) {
    throw SessionError("has " + std::to_string(size) +
                       " bytes; expected an ONNX file, of at most " +
                       std::to_string(kMaxOnnxBytes));
  }
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file.is_open()) {
    const int cause = errno == 0 ? ENOENT : errno;
    throw SessionError("cannot be opened: " + std::generic_category().message(cause));
  }
  CheckOnnxFile(file);
  file.clear();
  return DescribeOnnxFile(file);
}

}  // namespace nuvik::alg::common
