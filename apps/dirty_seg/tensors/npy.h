// Tensors in the files of numpy.save and numpy.load, format version 1.0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace dirty_seg {

struct NpyArray {
  /// An AIDataType.
  std::uint32_t type = 0;
  /// Outermost first; empty for a single number.
  std::vector<std::int64_t> shape;
  /// Elements in row-major order, lowest byte first.
  std::vector<std::uint8_t> bytes;

  std::size_t ElementCount() const;
};

/// Writes the file, which needs no pickle to be read. `bytes` has the length that type and shape
/// require. Throws OutputError, naming the file and the cause, when it cannot be written, and
/// SetupError for a type that no file holds.
void WriteNpy(const std::string& path, const NpyArray& array);

/// Reads a file with the six types that the engine knows, in row-major order. Throws SetupError,
/// naming the file, what was found and what was expected: it cannot be opened; its magic or version
/// is wrong; its header is not a dictionary of descr, fortran_order and shape; the type is not
/// supported; the order is column-major; the file is shorter or longer than its header says.
NpyArray ReadNpy(const std::string& path);

}  // namespace dirty_seg
