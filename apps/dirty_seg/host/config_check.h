// Everything that can be said of a configuration file before a frame is looked at.
#pragma once

#include <string>
#include <vector>

#include "host/patch_coverage.h"
#include "host/patches.h"

namespace dirty_seg {

struct ConfigCheck {
  /// By line; the file as a whole first.
  std::vector<Finding> findings;
  /// Those that are as they should be.
  std::vector<ListedPatch> patches;
  Coverage coverage;
  int side = 0;  // of the network's input

  std::size_t Count(Finding::Kind kind) const;
};

/// The patch without what of it lies outside the frame.
cv::Rect Clipped(const ListedPatch& patch);

/// Errors: keys and values that no run accepts or that have no effect. Warnings: gaps, patches that
/// are clipped, lie on each other, come out short of the network's square or waste it. `side` is
/// that of the network's input. Throws SetupError for a file that cannot be opened or is no YAML.
ConfigCheck CheckConfig(const std::string& path, int side);

/// A line a finding, "PATH:3: error: TEXT", and a last one that sums up.
std::string CheckText(const std::string& path, const ConfigCheck& check);

}  // namespace dirty_seg
