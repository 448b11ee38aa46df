#include "support/network_files.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "engine/network_reader.h"

namespace nuvik::test {

using alg::common::AIBuff;
using alg::common::AIEngineConfig;

std::string NetworkPath(const std::string& name) {
  return std::string(TEST_NETWORKS_FOLDER) + "/" + name + ".onnx";
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

TemporaryFile::TemporaryFile(const std::string& bytes) {
  path_ = (std::filesystem::temp_directory_path() / "engine_test_XXXXXX.onnx").string();
  const int file = mkstemps(path_.data(), 5);
  if (file < 0) throw std::runtime_error("cannot make " + path_);
  close(file);
  std::ofstream(path_, std::ios::binary) << bytes;
}

TemporaryFile::~TemporaryFile() { std::filesystem::remove(path_); }

AIEngineConfig ConfigOf(const std::string& path, std::int64_t batch) {
  alg::common::Network network;
  std::string error;
  if (alg::common::ReadNetwork(path, {batch, 64, 64}, network, error) != 0) {
    throw std::runtime_error(error);
  }
  network.config.thread_count = 1;
  return network.config;
}

std::map<std::string, AIBuff> MakeBuffers(const std::map<std::string, std::int32_t>& sizes) {
  std::map<std::string, AIBuff> buffers;
  for (const auto& [name, bytes] : sizes) {
    buffers[name].data->resize(static_cast<std::size_t>(bytes));
  }
  return buffers;
}

}  // namespace nuvik::test
