#include "engine/onnx_file.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "engine/onnx_message.h"
#include "engine/onnx_session.h"

namespace nuvik::alg::common {
namespace {

using Message = OnnxMessage;

// Of messages in messages; the runtime's own reader stops there too.
constexpr int kMostDepth = 100;
constexpr std::uint64_t kMostNodes = 1000000;
constexpr std::int64_t kMostDivisor = 65536;  // its square does not overflow

// Field numbers of the messages in an ONNX file.
namespace model {
constexpr std::uint64_t kGraph = 7;
constexpr std::uint64_t kFunction = 25;
}  // namespace model
namespace graph {
constexpr std::uint64_t kNode = 1;
}
namespace node {
constexpr std::uint64_t kName = 3;
constexpr std::uint64_t kOperator = 4;
constexpr std::uint64_t kAttribute = 5;
constexpr std::uint64_t kDomain = 7;
}  // namespace node
namespace attribute {
constexpr std::uint64_t kName = 1;
constexpr std::uint64_t kInteger = 3;
constexpr std::uint64_t kGraph = 6;
constexpr std::uint64_t kGraphs = 11;
}  // namespace attribute
namespace function {
constexpr std::uint64_t kName = 1;
constexpr std::uint64_t kNode = 7;
constexpr std::uint64_t kDomain = 10;
}  // namespace function

using Operator = std::pair<std::string, std::string>;  // domain, name

// The nodes of a graph or a function, those of graphs within it too, counted by operator.
using Calls = std::map<Operator, std::uint64_t>;

struct Attribute {
  std::string name;
  std::int64_t integer = 0;
};

// NOLINTBEGIN(misc-no-recursion): messages hold messages, as deep as kMostDepth
void AddGraph(Message graph, int depth, Calls& calls);

Attribute ReadAttribute(Message message, int depth, Calls& calls) {
  Attribute read;
  while (message.Next()) {
    switch (message.field()) {
      case attribute::kName:
        read.name = message.Text();
        break;
      case attribute::kInteger:
        read.integer = message.integer();
        break;
      case attribute::kGraph:
      case attribute::kGraphs:
        AddGraph(message.message(), depth + 1, calls);
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

void CheckDivisors(const std::string& node_name, const std::string& operator_name,
                   const std::vector<Attribute>& attributes) {
  const std::string divisor = DivisorOf(operator_name);
  if (divisor.empty()) return;
  for (const Attribute& attribute : attributes) {
    if (attribute.name != divisor) continue;
    if (attribute.integer >= 1 && attribute.integer <= kMostDivisor) continue;
    throw SessionError("node '" + node_name + "' (" + operator_name + ") has " + divisor + " " +
                       std::to_string(attribute.integer) + "; expected 1 to " +
                       std::to_string(kMostDivisor));
  }
}

void AddNode(Message message, int depth, Calls& calls) {
  std::string name;
  Operator op;
  std::vector<Attribute> attributes;
  while (message.Next()) {
    switch (message.field()) {
      case node::kName:
        name = message.Text();
        break;
      case node::kOperator:
        op.second = message.Text();
        break;
      case node::kDomain:
        op.first = message.Text();
        break;
      case node::kAttribute:
        attributes.push_back(ReadAttribute(message.message(), depth + 1, calls));
        break;
      default:
        break;
    }
  }
  CheckDivisors(name, op.second, attributes);
  ++calls[op];
}

void AddGraph(Message graph, int depth, Calls& calls) {
  if (depth > kMostDepth) {
    throw SessionError("has graphs within graphs deeper than " + std::to_string(kMostDepth) +
                       " messages");
  }
  while (graph.Next()) {
    if (graph.field() == graph::kNode) AddNode(graph.message(), depth + 1, calls);
  }
}
// NOLINTEND(misc-no-recursion)

// The functions that a file defines, put in for the nodes that call them.
class Functions {
 public:
  void Add(Message message) {
    Operator name;
    Calls calls;
    while (message.Next()) {
      switch (message.field()) {
        case function::kName:
          name.second = message.Text();
          break;
        case function::kDomain:
          name.first = message.Text();
          break;
        case function::kNode:
          AddNode(message.message(), 1, calls);
          break;
        default:
          break;
      }
    }
    functions_[name] = {std::move(calls), std::nullopt};
  }

  // NOLINTBEGIN(misc-no-recursion): functions call functions, as deep as kMostDepth
  // Nodes that `calls` come to, as far as kMostNodes.
  std::uint64_t CountNodes(const Calls& calls, int depth = 0) {
    std::uint64_t nodes = 0;
    for (const auto& [op, times] : calls) {
      const std::uint64_t each = CountNodesOf(op, depth);
      if (each > 0 && times > (kMostNodes - nodes) / each) {
        throw SessionError("has more than " + std::to_string(kMostNodes) +
                           " nodes once its functions are put in");
      }
      nodes += times * each;
    }
    return nodes;
  }

 private:
  struct Function {
    Calls calls;
    std::optional<std::uint64_t> nodes;
  };

  std::uint64_t CountNodesOf(const Operator& op, int depth) {
    const auto function = functions_.find(op);
    if (function == functions_.end()) return 1;
    if (depth == kMostDepth) {
      throw SessionError("function '" + op.second + "' is called more than " +
                         std::to_string(kMostDepth) + " functions deep, or by itself");
    }
    if (!function->second.nodes) {
      function->second.nodes = 1 + CountNodes(function->second.calls, depth + 1);
    }
    return *function->second.nodes;
  }
  // NOLINTEND(misc-no-recursion)

  std::map<Operator, Function> functions_;
};

}  // namespace

void CheckOnnxFile(std::istream& file) {
  Message model = Message::Whole(file);
  Calls calls;
  Functions functions;
  while (model.Next()) {
    if (model.field() == model::kGraph) AddGraph(model.message(), 1, calls);
    if (model.field() == model::kFunction) functions.Add(model.message());
  }
  functions.CountNodes(calls);
}

}  // namespace nuvik::alg::common
