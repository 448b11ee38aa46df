#include "tensors/dump_comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <system_error>
#include <utility>

#include "base/errors.h"
#include "base/printable.h"
#include "engine/ai_engine.h"
#include "files/result_names.h"
#include "network/tensor.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;
using nuvik::alg::common::ShapeText;
using nuvik::alg::common::TensorText;
using nuvik::alg::common::TypeName;

template <typename Value>
Value Load(const NpyArray& array, std::size_t i) {
  Value value{};
  std::memcpy(&value, array.bytes.data() + i * sizeof(Value), sizeof(Value));
  return value;
}

// The only type that holds every value of all six, including 64-bit integers and doubles.
long double Element(const NpyArray& array, std::size_t i) {
  switch (array.type) {
    case nuvik::alg::common::kAIUint8:
      return array.bytes[i];
    case nuvik::alg::common::kAIFloat16:
      return static_cast<float>(Load<cv::float16_t>(array, i));
    case nuvik::alg::common::kAIFloat32:
      return Load<float>(array, i);
    case nuvik::alg::common::kAIInt32:
      return Load<std::int32_t>(array, i);
    case nuvik::alg::common::kAIInt64:
      return Load<std::int64_t>(array, i);
    default:
      return Load<double>(array, i);
  }
}

void Keep(double difference, std::size_t index, long double a, long double b,
          std::optional<LargestDifference>& largest) {
  if (largest && !(difference > largest->difference)) return;
  largest = {difference, index, static_cast<double>(a), static_cast<double>(b)};
}

// Counts element `i` if the two values are not equal.
void CompareElement(std::size_t i, long double a, long double b, TensorDifference& result) {
  if (a == b || (std::isnan(a) && std::isnan(b))) return;
  ++result.differing;
  if (!result.first_differing) result.first_differing = i;
  if (std::isnan(a) || std::isnan(b)) {
    ++(std::isnan(a) ? result.nan_only_in_a : result.nan_only_in_b);
    return;
  }
  const long double difference = std::abs(a - b);
  const long double greater = std::max(std::abs(a), std::abs(b));
  // Infinity divided by infinity is not a number, which is not less than any number.
  const long double relative = std::isinf(difference) ? difference : difference / greater;
  Keep(static_cast<double>(difference), i, a, b, result.largest_absolute);
  Keep(static_cast<double>(relative), i, a, b, result.largest_relative);
}

// The tensor's name and its file, for each .npy in the folder.
std::map<std::string, std::string> FindTensors(const std::string& folder) {
  std::map<std::string, std::string> files;
  std::error_code error;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    if (entry->path().extension() == ".npy") {
      files[entry->path().stem().string()] = entry->path().string();
    }
  }
  return files;
}

// "[0, 3, 17]"
std::string IndexText(std::size_t index, const std::vector<std::int64_t>& shape) {
  std::vector<std::int64_t> place(shape.size());
  for (std::size_t i = shape.size(); i-- > 0;) {
    const auto length = static_cast<std::size_t>(shape[i]);
    place[i] = static_cast<std::int64_t>(index % length);
    index /= length;
  }
  return ShapeText(place);
}

std::string ValueText(double value) { return fmt::format("{:.9g}", value); }

// JSON has no infinity.
ordered_json NumberToJson(double value) {
  if (std::isfinite(value)) return value;
  return value > 0 ? "inf" : "-inf";
}

ordered_json LargestToJson(const std::optional<LargestDifference>& largest,
                           const std::vector<std::int64_t>& shape) {
  if (!largest) return nullptr;
  return {{"difference", NumberToJson(largest->difference)},
          {"at", ordered_json::parse(IndexText(largest->index, shape))},
          {"a", NumberToJson(largest->in_a)},
          {"b", NumberToJson(largest->in_b)}};
}

ordered_json TensorToJson(const TensorDifference& tensor) {
  ordered_json json;
  json["name"] = tensor.name;
  json["type_a"] = TypeName(tensor.a.type);
  json["type_b"] = TypeName(tensor.b.type);
  json["shape_a"] = tensor.a.shape;
  json["shape_b"] = tensor.b.shape;
  if (!tensor.has_same_shape) return json;
  json["elements"] = tensor.a.ElementCount();
  json["equal_to_the_bit"] = tensor.is_equal_to_the_bit;
  json["differing"] = tensor.differing;
  json["first_differing"] =
      tensor.first_differing
          ? ordered_json::parse(IndexText(*tensor.first_differing, tensor.a.shape))
          : ordered_json(nullptr);
  json["largest_absolute"] = LargestToJson(tensor.largest_absolute, tensor.a.shape);
  json["largest_relative"] = LargestToJson(tensor.largest_relative, tensor.a.shape);
  json["nan_only_in_a"] = tensor.nan_only_in_a;
  json["nan_only_in_b"] = tensor.nan_only_in_b;
  return json;
}

std::string LargestText(const char* what, const std::optional<LargestDifference>& largest,
                        const std::vector<std::int64_t>& shape) {
  if (!largest) return "";
  return fmt::format("  largest {} difference {} at {}: {} and {}\n", what,
                     ValueText(largest->difference), IndexText(largest->index, shape),
                     ValueText(largest->in_a), ValueText(largest->in_b));
}

std::string DifferenceText(const TensorDifference& tensor) {
  const std::string in_a = TensorText(tensor.a.type, tensor.a.shape);
  const std::string in_b = TensorText(tensor.b.type, tensor.b.shape);
  std::string text = Printable(tensor.name) + "  " + in_a + (in_a == in_b ? "" : " and " + in_b);
  if (!tensor.has_same_shape) return text + ": not comparable\n";
  if (tensor.is_equal_to_the_bit) return text + ": equal to the bit\n";
  if (tensor.differing == 0) return text + ": equal, not to the bit\n";
  text += fmt::format(": {} of {} elements differ, first at {}\n", tensor.differing,
                      tensor.a.ElementCount(), IndexText(*tensor.first_differing, tensor.a.shape));
  text += LargestText("absolute", tensor.largest_absolute, tensor.a.shape);
  text += LargestText("relative", tensor.largest_relative, tensor.a.shape);
  if (tensor.nan_only_in_a + tensor.nan_only_in_b > 0) {
    text += fmt::format("  not a number only in A: {}, only in B: {}\n", tensor.nan_only_in_a,
                        tensor.nan_only_in_b);
  }
  return text;
}

}  // namespace

TensorDifference CompareTensors(const std::string& name, NpyArray a, NpyArray b) {
  TensorDifference result;
  result.name = name;
  result.has_same_shape = a.shape == b.shape;
  if (result.has_same_shape) {
    result.is_equal_to_the_bit = a.type == b.type && a.bytes == b.bytes;
    const std::size_t count = result.is_equal_to_the_bit ? 0 : a.ElementCount();
    for (std::size_t i = 0; i < count; ++i) {
      CompareElement(i, Element(a, i), Element(b, i), result);
    }
  }
  result.a = {a.type, std::move(a.shape), {}};
  result.b = {b.type, std::move(b.shape), {}};
  return result;
}

bool IsDump(const std::string& path) {
  std::error_code error;
  if (!fs::is_directory(path, error)) return fs::path(path).extension() == ".npy";
  return !fs::exists(fs::path(path) / kResultsFile, error) && !FindTensors(path).empty();
}

DumpComparison CompareDumps(const std::string& a, const std::string& b) {
  DumpComparison comparison;
  std::error_code error;
  if (fs::is_directory(a, error) != fs::is_directory(b, error)) {
    throw SetupError(fmt::format("'{}' and '{}': expected two folders or two .npy files", a, b));
  }
  if (!fs::is_directory(a, error)) {
    comparison.tensors.push_back(
        CompareTensors(fs::path(a).stem().string(), ReadNpy(a), ReadNpy(b)));
    return comparison;
  }
  const std::map<std::string, std::string> in_a = FindTensors(a);
  std::map<std::string, std::string> in_b = FindTensors(b);
  for (const auto& [name, file] : in_a) {
    const auto partner = in_b.find(name);
    if (partner == in_b.end()) {
      comparison.only_in_a.push_back(name);
      continue;
    }
    comparison.tensors.push_back(CompareTensors(name, ReadNpy(file), ReadNpy(partner->second)));
    in_b.erase(partner);
  }
  for (const auto& [name, file] : in_b) comparison.only_in_b.push_back(name);
  return comparison;
}

std::vector<std::string> FindExcesses(const DumpComparison& comparison,
                                      const std::optional<double>& max_difference) {
  std::vector<std::string> excesses;
  for (const std::string& name : comparison.only_in_a) excesses.push_back(name + " is only in A");
  for (const std::string& name : comparison.only_in_b) excesses.push_back(name + " is only in B");
  for (const TensorDifference& tensor : comparison.tensors) {
    if (!tensor.has_same_shape) {
      excesses.push_back(fmt::format("{}: the shapes differ, {} and {}", tensor.name,
                                     ShapeText(tensor.a.shape), ShapeText(tensor.b.shape)));
    }
    if (!max_difference) continue;
    const std::string beyond =
        fmt::format("--max-difference {}: {} ", ordered_json(*max_difference).dump(), tensor.name);
    if (tensor.largest_absolute && tensor.largest_absolute->difference > *max_difference) {
      excesses.push_back(beyond + "differs by " + ValueText(tensor.largest_absolute->difference));
    }
    const std::size_t nans = tensor.nan_only_in_a + tensor.nan_only_in_b;
    if (nans > 0) {
      excesses.push_back(beyond + fmt::format("is not a number on one side {} times", nans));
    }
  }
  return excesses;
}

ordered_json ToJson(const DumpComparison& comparison) {
  ordered_json json;
  ordered_json& tensors = json["tensors"] = ordered_json::array();
  for (const TensorDifference& tensor : comparison.tensors) tensors.push_back(TensorToJson(tensor));
  json["only_in_a"] = comparison.only_in_a;
  json["only_in_b"] = comparison.only_in_b;
  return json;
}

std::string ComparisonText(const DumpComparison& comparison) {
  std::string text;
  for (const TensorDifference& tensor : comparison.tensors) text += DifferenceText(tensor);
  for (const std::string& name : comparison.only_in_a) text += Printable(name) + "  only in A\n";
  for (const std::string& name : comparison.only_in_b) text += Printable(name) + "  only in B\n";
  return text;
}

}  // namespace dirty_seg
