#include "scripted_engine.h"

#include <yaml-cpp/yaml.h>

#include <new>
#include <utility>

#include "engine/data_base.h"
#include "engine/to_string.h"

namespace scripted_engine {
namespace {

std::vector<Call>& MutableCalls() {
  // A thread's own: a lock would put detectors in several threads in an order of its own.
  thread_local std::vector<Call> calls;
  return calls;
}

void Note(Call call) { MutableCalls().push_back(std::move(call)); }

Call CallOf(const char* operation, const std::string& model_path = {}) {
  Call call;
  call.operation = operation;
  call.model_path = model_path;
  return call;
}

// A destructor has nobody to throw to, so its note is lost where memory has run out.
void NoteDrop(const char* operation, const std::string& model_path, const std::string& text) {
  try {
    Call call = CallOf(operation, model_path);
    call.text = text;
    Note(std::move(call));
  } catch (const std::bad_alloc&) {
  }
}

int NextStatus(std::deque<int>& statuses) {
  if (statuses.empty()) return 0;
  const int status = statuses.front();
  statuses.pop_front();
  return status;
}

std::map<std::string, std::size_t> StorageSizes(const BufferMap& buffers) {
  std::map<std::string, std::size_t> sizes;
  for (const auto& [name, buffer] : buffers) {
    sizes[name] = buffer.data == nullptr ? 0 : buffer.data->size();
  }
  return sizes;
}

}  // namespace

Script& GetScript() {
  static Script script;
  return script;
}

const std::vector<Call>& Calls() { return MutableCalls(); }

std::vector<Call> CallsOf(const std::string& operation) {
  std::vector<Call> calls;
  for (const Call& call : Calls()) {
    if (call.operation == operation) calls.push_back(call);
  }
  return calls;
}

std::vector<std::string> Operations() {
  std::vector<std::string> operations;
  for (const Call& call : Calls()) operations.push_back(call.operation);
  return operations;
}

void Reset() {
  MutableCalls().clear();
  GetScript() = Script();
}

}  // namespace scripted_engine

namespace nuvik::alg::common {

namespace script = scripted_engine;

class AIEngine::Impl {
 public:
  std::string model_path;
};

AIEngine::AIEngine() : impl_(std::make_unique<Impl>()) {
  script::Note(script::CallOf(script::kMakeEngine));
}

AIEngine::~AIEngine() { script::NoteDrop(script::kDropEngine, impl_->model_path, ""); }

int AIEngine::Init(const AIEngineConfig& config) {
  impl_->model_path = config.model_path;
  script::Call call = script::CallOf(script::kInit, config.model_path);
  call.config = &config;
  script::Note(std::move(call));
  if (script::GetScript().on_init) script::GetScript().on_init();
  return script::NextStatus(script::GetScript().init_statuses);
}

int AIEngine::DoInference(std::map<std::string, AIBuff>& inputs,
                          std::map<std::string, AIBuff>& outputs) {
  script::Call call = script::CallOf(script::kInfer, impl_->model_path);
  call.inputs = &inputs;
  call.outputs = &outputs;
  call.input_bytes = script::StorageSizes(inputs);
  call.output_bytes = script::StorageSizes(outputs);
  script::Note(std::move(call));
  if (script::GetScript().on_inference) {
    script::GetScript().on_inference(impl_->model_path, inputs, outputs);
  }
  return script::NextStatus(script::GetScript().inference_statuses);
}

}  // namespace nuvik::alg::common

namespace nuvik::model {

namespace script = scripted_engine;

class Yolov8Postprocess::Impl {
 public:
  std::string model_path;
};

Yolov8Postprocess::Yolov8Postprocess(const YAML::Node& root,
                                     const alg::common::AIEngineConfig& config,
                                     const std::vector<cv::Size>& patch_sizes)
    : impl_(std::make_unique<Impl>()) {
  impl_->model_path = config.model_path;
  script::Call call = script::CallOf(script::kMakePostprocess, config.model_path);
  call.config = &config;
  call.patch_sizes = patch_sizes;
  call.yaml = YAML::Dump(root);
  script::Note(std::move(call));
  if (script::GetScript().on_make_postprocess) script::GetScript().on_make_postprocess();
}

Yolov8Postprocess::~Yolov8Postprocess() {
  script::NoteDrop(script::kDropPostprocess, impl_->model_path, "");
}

int Yolov8Postprocess::PostProcess(std::map<std::string, alg::common::AIBuff>& outputs,
                                   std::vector<std::vector<Object>>& objects) {
  script::Call call = script::CallOf(script::kPostProcess, impl_->model_path);
  call.outputs = &outputs;
  call.output_bytes = script::StorageSizes(outputs);
  script::Note(std::move(call));
  if (script::GetScript().on_post_process) script::GetScript().on_post_process(outputs, objects);
  objects = script::GetScript().objects;
  return script::GetScript().post_process_status;
}

}  // namespace nuvik::model

namespace nuvik::utils {

namespace script = scripted_engine;

DataBase::DataBase(const std::string& name) : name_(name) {
  script::Call call = script::CallOf(script::kMakeRecord);
  call.text = name;
  script::Note(std::move(call));
  if (script::GetScript().on_make_record) script::GetScript().on_make_record();
}

DataBase::~DataBase() { script::NoteDrop(script::kDropRecord, "", name_); }

const std::string& DataBase::name() const { return name_; }

}  // namespace nuvik::utils

namespace std {

string to_string(const string& value) {
  scripted_engine::Call call = scripted_engine::CallOf(scripted_engine::kToString);
  call.text = value;
  scripted_engine::Note(std::move(call));
  if (scripted_engine::GetScript().to_string) return scripted_engine::GetScript().to_string(value);
  return value;
}

}  // namespace std
