// A configuration file with thresholds of the command line in place of its own.
#pragma once

#include <optional>
#include <string>

#include "config/detector_options.h"
#include "network/postprocess_options.h"

namespace dirty_seg {

class EffectiveConfig {
 public:
  /// `path` is a file that CheckConfig finds no error in, and `thresholds` are permitted values.
  /// Throws SetupError.
  EffectiveConfig(const std::string& path, const Thresholds& thresholds);
  ~EffectiveConfig();
  EffectiveConfig(const EffectiveConfig&) = delete;
  EffectiveConfig& operator=(const EffectiveConfig&) = delete;

  /// What the detector is to read, as long as this object lives: the file itself if nothing takes
  /// the place of what it says.
  const std::string& path() const { return path_; }

  /// What is in force.
  const nuvik::model::PostprocessOptions& options() const { return options_; }

 private:
  std::string path_;
  nuvik::model::PostprocessOptions options_;
  int file_ = -1;  // in memory
};

}  // namespace dirty_seg
