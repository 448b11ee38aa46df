#include "networks/tensor_names.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <set>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/errors.h"
#include "base/text.h"
#include "files/open_failure.h"
#include "files/output_file.h"
#include "network/onnx_fields.h"
#include "networks/networks.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
namespace onnx = nuvik::alg::common::onnx;

[[noreturn]] void Reject(const std::string& path, const std::string& what) {
  throw SetupError(fmt::format("'{}': {}", path, what));
}

// ---- Messages -----------------------------------------------------------------------------------

// What a field of a message holds, as far as names of tensors go.
enum class Part {
  kNoNames,
  kName,
  kModel,
  kGraph,
  kNode,
  kAttribute,
  kConstant,
  kValue,  // a constant of an attribute: its name is nobody's reference
  kSparseConstant,
  kDeclaration,
  kAnnotation,
  kPair,
  kExternalData,
};

// Functions of the model have names of their own.
Part PartOfGraph(std::uint64_t field) {
  switch (field) {
    case onnx::graph::kNode:
      return Part::kNode;
    case onnx::graph::kInitializer:
      return Part::kConstant;
    case onnx::graph::kInput:
    case onnx::graph::kOutput:
    case onnx::graph::kValueInfo:
      return Part::kDeclaration;
    case onnx::graph::kAnnotation:
      return Part::kAnnotation;
    case onnx::graph::kSparseInitializer:
      return Part::kSparseConstant;
    default:
      return Part::kNoNames;
  }
}

Part PartOfAttribute(std::uint64_t field) {
  if (field == onnx::attribute::kTensor) return Part::kValue;
  const bool is_graph = field == onnx::attribute::kGraph || field == onnx::attribute::kGraphs;
  return is_graph ? Part::kGraph : Part::kNoNames;
}

Part PartOf(Part message, std::uint64_t field) {
  const auto only = [field](std::uint64_t number, Part part) {
    return field == number ? part : Part::kNoNames;
  };
  switch (message) {
    case Part::kModel:
      return only(onnx::model::kGraph, Part::kGraph);
    case Part::kGraph:
      return PartOfGraph(field);
    case Part::kNode:
      if (field == onnx::node::kInput || field == onnx::node::kOutput) return Part::kName;
      return only(onnx::node::kAttribute, Part::kAttribute);
    case Part::kAttribute:
      return PartOfAttribute(field);
    case Part::kConstant:
      if (field == onnx::tensor::kExternalData) return Part::kExternalData;
      return only(onnx::tensor::kName, Part::kName);
    case Part::kValue:
      return only(onnx::tensor::kExternalData, Part::kExternalData);
    case Part::kSparseConstant:
      return only(onnx::sparse_tensor::kValues, Part::kConstant);
    case Part::kDeclaration:
      return only(onnx::value_info::kName, Part::kName);
    case Part::kAnnotation:
      if (field == onnx::annotation::kQuantParameter) return Part::kPair;
      return only(onnx::annotation::kTensor, Part::kName);
    case Part::kPair:
      return only(onnx::pair::kValue, Part::kName);
    default:
      return Part::kNoNames;
  }
}

// A field as it lies in a message.
struct Field {
  std::uint64_t number = 0;
  std::string_view key;      // its first bytes, which say number and kind
  std::string_view whole;    // all bytes
  std::string_view content;  // of a text or message
  bool has_content = false;
};

// The message ends within a field.
class Torn : public std::exception {};

std::uint64_t TakeVarint(std::string_view& rest) {
  std::uint64_t value = 0;
  for (unsigned shift = 0; shift < 64 && !rest.empty(); shift += 7) {
    const auto byte = static_cast<std::uint8_t>(rest.front());
    rest.remove_prefix(1);
    value |= std::uint64_t{byte & 0x7FU} << shift;
    if ((byte & 0x80U) == 0) return value;
  }
  throw Torn();
}

std::string_view TakeBytes(std::string_view& rest, std::uint64_t count) {
  if (count > rest.size()) throw Torn();
  const std::string_view bytes = rest.substr(0, count);
  rest.remove_prefix(count);
  return bytes;
}

Field TakeField(std::string_view& rest) {
  const std::string_view before = rest;
  Field field;
  const std::uint64_t key = TakeVarint(rest);
  field.number = key / 8;
  field.key = before.substr(0, before.size() - rest.size());
  switch (key % 8) {
    case 0:
      TakeVarint(rest);
      break;
    case 1:
      TakeBytes(rest, 8);
      break;
    case 2:
      field.has_content = true;
      field.content = TakeBytes(rest, TakeVarint(rest));
      break;
    case 5:
      TakeBytes(rest, 4);
      break;
    default:  // groups, which no message of ONNX has
      throw Torn();
  }
  if (field.number == 0) throw Torn();
  field.whole = before.substr(0, before.size() - rest.size());
  return field;
}

void AppendVarint(std::uint64_t value, std::string& bytes) {
  for (; value >= 0x80U; value >>= 7U) bytes += static_cast<char>((value & 0x7FU) | 0x80U);
  bytes += static_cast<char>(value);
}

// ---- Renaming -----------------------------------------------------------------------------------

// Writes messages anew, and notes what it meets on the way.
class Renamer {
 public:
  explicit Renamer(const TensorNames& names) : names_(names) {}

  // NOLINTBEGIN(misc-no-recursion): messages hold messages, as deep as kMaxDepth
  // Only what has a name changed is encoded anew; the rest is copied. Throws Torn.
  std::string Rewrite(std::string_view message, Part part, int depth = 0) {
    constexpr int kMaxDepth = 200;
    if (depth > kMaxDepth) throw Torn();
    std::string written;
    written.reserve(message.size());
    while (!message.empty()) {
      const Field field = TakeField(message);
      Note(part, field);
      const Part inside = field.has_content ? PartOf(part, field.number) : Part::kNoNames;
      const std::optional<std::string> content = ContentOf(field, inside, depth);
      if (!content || *content == field.content) {
        written += field.whole;
        continue;
      }
      written += field.key;
      AppendVarint(content->size(), written);
      written += *content;
    }
    return written;
  }

  bool has_graph() const { return has_graph_; }
  bool has_training() const { return has_training_; }
  bool has_external_data() const { return has_external_data_; }
  bool Met(const std::string& name) const { return met_.count(name) != 0; }

 private:
  // Nothing where no name can be.
  std::optional<std::string> ContentOf(const Field& field, Part inside, int depth) {
    if (inside == Part::kNoNames || inside == Part::kExternalData) return std::nullopt;
    if (inside != Part::kName) return Rewrite(field.content, inside, depth + 1);
    const std::string name(field.content);
    met_.insert(name);
    const auto renamed = names_.find(name);
    return renamed == names_.end() ? name : renamed->second;
  }
  // NOLINTEND(misc-no-recursion)

  void Note(Part message, const Field& field) {
    if (message == Part::kModel) {
      has_graph_ = has_graph_ || (field.number == onnx::model::kGraph && field.has_content);
      has_training_ = has_training_ || field.number == onnx::model::kTraining;
    }
    if (PartOf(message, field.number) == Part::kExternalData) has_external_data_ = true;
  }

  const TensorNames& names_;
  std::set<std::string> met_;  // before renaming
  bool has_graph_ = false;
  bool has_training_ = false;
  bool has_external_data_ = false;
};

std::string ReadBytes(const std::string& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) Reject(path, "is a folder; expected an ONNX file");
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) Reject(path, OpenFailure(errno));
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string NamesOf(const std::vector<nuvik::alg::common::DeclaredTensor>& tensors) {
  if (tensors.empty()) return "none";
  return JoinEach(tensors, [](const auto& each) { return fmt::format("'{}'", each.name); });
}

void CheckOldNames(const std::string& path, const TensorNames& names) {
  const auto declared = DescribeNetwork(path);
  std::set<std::string> known;
  for (const auto* tensors : {&declared.inputs, &declared.outputs}) {
    for (const auto& tensor : *tensors) known.insert(tensor.name);
  }
  for (const auto& [old_name, new_name] : names) {
    if (known.count(old_name) != 0) continue;
    Reject(path, fmt::format("has no input or output '{}'; inputs: {}; outputs: {}", old_name,
                             NamesOf(declared.inputs), NamesOf(declared.outputs)));
  }
}

void CheckNewNames(const std::string& path, const TensorNames& names, const Renamer& renamer) {
  std::set<std::string> taken;
  for (const auto& [old_name, new_name] : names) {
    if (new_name.empty()) Reject(path, fmt::format("'{}' gets an empty name", old_name));
    if (!taken.insert(new_name).second) {
      Reject(path, fmt::format("two tensors would be called '{}'", new_name));
    }
    if (renamer.Met(new_name) && names.count(new_name) == 0) {
      Reject(path, fmt::format("has another tensor '{}' already", new_name));
    }
  }
}

std::string FolderOf(const std::string& path) {
  std::error_code error;
  const fs::path folder = fs::absolute(path, error).parent_path();
  return fs::weakly_canonical(folder, error).string();
}

}  // namespace

void RenameTensors(const std::string& input, const std::string& output, const TensorNames& names) {
  const std::string bytes = ReadBytes(input);
  Renamer renamer(names);
  std::string renamed;
  try {
    renamed = renamer.Rewrite(bytes, Part::kModel);
  } catch (const Torn&) {
    Reject(input, "is not a whole ONNX file");
  }
  if (!renamer.has_graph()) Reject(input, "is not an ONNX file: it has no graph");
  if (renamer.has_training()) Reject(input, "has training graphs; expected a network to run");
  CheckOldNames(input, names);
  CheckNewNames(input, names, renamer);
  if (renamer.has_external_data() && FolderOf(input) != FolderOf(output)) {
    Reject(input, fmt::format("has weights in files beside it, which '{}' would not find; expected "
                              "a file in the same folder",
                              output));
  }
  WholeFile file(output);
  file.Write(renamed);
  file.Keep();
}

}  // namespace dirty_seg
