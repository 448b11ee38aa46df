// Compares two sets of tensors, number by number.
#pragma once

#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "tensors/npy.h"

namespace dirty_seg {

/// Where two tensors differ most.
struct LargestDifference {
  double difference = 0.0;
  /// In row-major order, from 0.
  std::size_t index = 0;
  double in_a = 0.0;
  double in_b = 0.0;
};

struct TensorDifference {
  std::string name;
  /// Type and shape; data is not kept.
  NpyArray a;
  NpyArray b;
  /// Without it, nothing below is known.
  bool has_same_shape = false;
  bool is_equal_to_the_bit = false;
  /// Elements whose values differ. Not-a-number is equal to itself, and 0 to -0.
  std::size_t differing = 0;
  std::optional<std::size_t> first_differing;
  /// Of elements that are numbers in both: |a - b|, and that divided by the greater of |a| and |b|.
  std::optional<LargestDifference> largest_absolute;
  std::optional<LargestDifference> largest_relative;
  std::size_t nan_only_in_a = 0;
  std::size_t nan_only_in_b = 0;
};

/// Tensors of different types are compared by value, of different shapes not at all.
TensorDifference CompareTensors(const std::string& name, NpyArray a, NpyArray b);

struct DumpComparison {
  /// By name.
  std::vector<TensorDifference> tensors;
  std::vector<std::string> only_in_a;
  std::vector<std::string> only_in_b;
};

/// Whether `path` is a .npy file, or a folder with some and without results.
bool IsDump(const std::string& path);

/// Two .npy files, or the .npy files of the same name of two folders. Throws SetupError for a file
/// that cannot be read, and for a folder against a file.
DumpComparison CompareDumps(const std::string& a, const std::string& b);

/// Reasons not to call the two the same: tensors that only one has, shapes that differ, and with a
/// limit, values further apart than it, or not-a-number on one side only.
std::vector<std::string> FindExcesses(const DumpComparison& comparison,
                                      const std::optional<double>& max_difference);

nlohmann::ordered_json ToJson(const DumpComparison& comparison);
std::string ComparisonText(const DumpComparison& comparison);

}  // namespace dirty_seg
