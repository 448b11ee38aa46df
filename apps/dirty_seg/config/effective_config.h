// A configuration with thresholds of one run in place of its own.
#pragma once

#include <yaml-cpp/yaml.h>

#include <string>
#include <string_view>

#include "config/detector_options.h"
#include "network/postprocess_options.h"

namespace dirty_seg {

/// The root of the options' configuration. Throws SetupError for a file that cannot be opened, and
/// for what is not YAML.
YAML::Node LoadConfig(const DetectorOptions& options);

class EffectiveConfig {
 public:
  /// Of the options' configuration, which CheckConfig finds no error in, and their thresholds,
  /// which are permitted values. Throws SetupError.
  explicit EffectiveConfig(const DetectorOptions& options);
  ~EffectiveConfig();
  EffectiveConfig(const EffectiveConfig&) = delete;
  EffectiveConfig& operator=(const EffectiveConfig&) = delete;

  /// What the detector is to read, as long as this object lives: the configuration's file itself if
  /// there is one and nothing takes the place of what it says.
  const std::string& path() const { return path_; }

  /// What is in force.
  const nuvik::model::PostprocessOptions& options() const { return options_; }

 private:
  void HoldInMemory(std::string_view text, const std::string& name);

  std::string path_;
  nuvik::model::PostprocessOptions options_;
  int file_ = -1;  // in memory
};

}  // namespace dirty_seg
