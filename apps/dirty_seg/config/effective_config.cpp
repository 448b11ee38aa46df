#include "config/effective_config.h"

#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>
#include <yaml-cpp/yaml.h>

#include <cerrno>
#include <string_view>
#include <system_error>
#include <vector>

#include "base/errors.h"
#include "files/yaml_file.h"

namespace dirty_seg {
namespace {

template <typename Value>
void Put(const std::optional<Value>& value, const char* key, YAML::Node& root) {
  // The text that reads back as the same number.
  if (value) root["postprocess"][key] = fmt::format("{}", *value);
}

[[noreturn]] void FailToHold(const std::string& path) {
  throw SetupError(fmt::format("'{}': cannot be held in memory: {}", path,
                               std::generic_category().message(errno)));
}

// The descriptor of a file in memory.
int WriteToMemory(std::string_view text, const std::string& path) {
  const int file = memfd_create("configuration", MFD_CLOEXEC);
  if (file < 0) FailToHold(path);
  while (!text.empty()) {
    const ssize_t written = write(file, text.data(), text.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) {
      const int cause = errno;
      close(file);
      errno = cause;
      FailToHold(path);
    }
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return file;
}

}  // namespace

YAML::Node LoadConfig(const DetectorOptions& options) {
  return options.config_text ? ParseYaml(*options.config_text, options.config)
                             : LoadYaml(options.config);
}

EffectiveConfig::EffectiveConfig(const DetectorOptions& options) : path_(options.config) {
  const Thresholds& thresholds = options.thresholds;
  YAML::Node root = LoadConfig(options);
  Put(thresholds.score, "score_threshold", root);
  // It counts for every class.
  if (thresholds.score) root["postprocess"].remove("score_thresholds");
  Put(thresholds.iou, "iou_threshold", root);
  Put(thresholds.max_detections, "max_detections", root);
  Put(thresholds.mask, "mask_threshold", root);
  if (!thresholds.classes.empty()) root["postprocess"]["classes"] = thresholds.classes;
  std::vector<nuvik::model::PostprocessProblem> problems;
  options_ = nuvik::model::ReadPostprocessOptions(root, problems);
  if (thresholds.empty()) {
    if (options.config_text) HoldInMemory(*options.config_text, options.config);
    return;
  }
  YAML::Emitter emitter;
  emitter << root;
  HoldInMemory(emitter.c_str(), options.config);
}

void EffectiveConfig::HoldInMemory(std::string_view text, const std::string& name) {
  file_ = WriteToMemory(text, name);
  path_ = fmt::format("/proc/self/fd/{}", file_);
}

EffectiveConfig::~EffectiveConfig() {
  if (file_ >= 0) close(file_);
}

}  // namespace dirty_seg
