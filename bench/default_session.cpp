#include "bench/default_session.h"

#include <onnxruntime_cxx_api.h>

#include <vector>

namespace bench {
namespace {

using nuvik::alg::common::AIBuff;

struct Arguments {
  explicit Arguments(std::map<std::string, AIBuff>& buffers) {
    const auto memory = Ort::MemoryInfo::CreateCpu(OrtArenaAllocator, OrtMemTypeDefault);
    for (auto& [name, buffer] : buffers) {
      names.push_back(name.c_str());
      values.push_back(Ort::Value::CreateTensor<float>(
          memory, reinterpret_cast<float*>(buffer.data->data()),
          buffer.data->size() / sizeof(float), buffer.shape.data(), buffer.shape.size()));
    }
  }

  std::vector<const char*> names;
  std::vector<Ort::Value> values;
};

}  // namespace

struct DefaultSession::Impl {
  Ort::Env environment{ORT_LOGGING_LEVEL_FATAL, "bench"};
  Ort::Session session{nullptr};
};

DefaultSession::DefaultSession(const std::string& path) : impl_(std::make_unique<Impl>()) {
  impl_->session = Ort::Session(impl_->environment, path.c_str(), Ort::SessionOptions());
}

DefaultSession::~DefaultSession() = default;

void DefaultSession::Run(std::map<std::string, AIBuff>& inputs,
                         std::map<std::string, AIBuff>& outputs) {
  Arguments in(inputs);
  Arguments out(outputs);
  impl_->session.Run(Ort::RunOptions(), in.names.data(), in.values.data(), in.values.size(),
                     out.names.data(), out.values.data(), out.values.size());
}

}  // namespace bench
