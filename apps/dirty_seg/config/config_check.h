// Everything that can be said of a configuration file before a frame is looked at.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "config/patch_coverage.h"
#include "config/patches.h"

namespace dirty_seg {

struct ConfigCheck {
  /// By line; the file as a whole first.
  std::vector<Finding> findings;
  /// Those that are as they should be.
  std::vector<ListedPatch> patches;
  Coverage coverage;
  int side = 0;  // of the network's input, once it has been looked at

  std::size_t Count(Finding::Kind kind) const;
};

/// The patch without what of it lies outside the frame.
cv::Rect Clipped(const ListedPatch& patch);

/// Of everything that needs no network. Errors: keys and values that have no effect or that the
/// detector would refuse or fail over. Warnings: gaps, patches that lie on each other. Throws
/// SetupError for a file that cannot be opened or is no YAML.
ConfigCheck CheckConfig(const std::string& path);

/// What the network's input makes of the patches. An error: one of which nothing is left. Warnings:
/// those that are clipped, come out short of the network's square of `side` pixels, or waste it. A
/// network of a fixed `batch` has only so many patches to see the frame with: where they see all of
/// it, what no grid can better is not warned of.
void CheckFit(int side, std::optional<int> batch, ConfigCheck& check);

/// Throws SetupError where there are errors, naming file, line and what would be right. Of several,
/// each is told before, on a line of its own.
void RefuseErrors(const std::string& path, const ConfigCheck& check);

/// A line a finding, "PATH:3: error: TEXT", and a last one that sums up.
std::string CheckText(const std::string& path, const ConfigCheck& check);

}  // namespace dirty_seg
