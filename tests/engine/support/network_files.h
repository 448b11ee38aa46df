// The committed test networks and files made on the spot.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "engine/ai_engine.h"

namespace nuvik::test {

/// Path of a network of tests/networks, named without its extension.
std::string NetworkPath(const std::string& name);

std::string ReadFile(const std::string& path);

/// A file of its own name in the temporary folder, removed with the object.
class TemporaryFile {
 public:
  explicit TemporaryFile(const std::string& bytes);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

/// Configuration of a test network as `ReadNetwork` gives it, one thread; a batch that is not fixed
/// is `batch`, open sides are 64.
alg::common::AIEngineConfig ConfigOf(const std::string& path, std::int64_t batch = 1);

/// Zeroed buffers of the configured lengths.
std::map<std::string, alg::common::AIBuff> MakeBuffers(
    const std::map<std::string, std::int32_t>& sizes);

/// The buffer's bytes as numbers.
template <typename Number>
std::vector<Number> NumbersOf(const alg::common::AIBuff& buffer) {
  const auto* first = reinterpret_cast<const Number*>(buffer.data->data());
  return std::vector<Number>(first, first + buffer.data->size() / sizeof(Number));
}

/// Sets every number of the buffer from `first` on, `count` of them.
template <typename Number>
void Fill(alg::common::AIBuff& buffer, std::size_t first, std::size_t count, Number value) {
  auto* numbers = reinterpret_cast<Number*>(buffer.data->data());
  for (std::size_t i = first; i < first + count; ++i) numbers[i] = value;
}

}  // namespace nuvik::test
