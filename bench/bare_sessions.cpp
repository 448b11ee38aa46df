// What a program cannot do without that runs networks: a session of each, by default options, and
// its first run. For the benchmark of the host program's start.
//   bare_sessions MODEL.onnx...
#include <onnxruntime_cxx_api.h>

#include <algorithm>
#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <numeric>
#include <string>
#include <vector>

namespace {

std::vector<std::string> OutputNames(const Ort::Session& session) {
  Ort::AllocatorWithDefaultOptions allocator;
  std::vector<std::string> names;
  for (std::size_t i = 0; i < session.GetOutputCount(); ++i) {
    names.emplace_back(session.GetOutputNameAllocated(i, allocator).get());
  }
  return names;
}

// On zeros; an open dimension is 1.
void RunOnce(Ort::Session& session) {
  Ort::AllocatorWithDefaultOptions allocator;
  const std::string input = session.GetInputNameAllocated(0, allocator).get();
  std::vector<std::int64_t> shape =
      session.GetInputTypeInfo(0).GetTensorTypeAndShapeInfo().GetShape();
  std::replace_if(
      shape.begin(), shape.end(), [](std::int64_t length) { return length < 0; }, 1);
  std::vector<float> zeros(static_cast<std::size_t>(
      std::accumulate(shape.begin(), shape.end(), std::int64_t{1}, std::multiplies<>())));
  const auto memory = Ort::MemoryInfo::CreateCpu(OrtArenaAllocator, OrtMemTypeDefault);
  const auto value = Ort::Value::CreateTensor<float>(memory, zeros.data(), zeros.size(),
                                                     shape.data(), shape.size());
  const std::vector<std::string> outputs = OutputNames(session);
  std::vector<const char*> output_names;
  for (const std::string& name : outputs) output_names.push_back(name.c_str());
  const char* const input_name = input.c_str();
  session.Run(Ort::RunOptions(), &input_name, &value, 1, output_names.data(), output_names.size());
}

}  // namespace

int main(int argc, char** argv) try {
  const Ort::Env environment(ORT_LOGGING_LEVEL_FATAL, "bench");
  std::vector<Ort::Session> sessions;
  for (int i = 1; i < argc; ++i) {
    sessions.emplace_back(environment, argv[i], Ort::SessionOptions());
    RunOnce(sessions.back());
  }
  return 0;
} catch (const std::exception& error) {
  std::cerr << "bare_sessions: " << error.what() << "\n";
  return 1;
}
