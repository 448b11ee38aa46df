// The patch list of a configuration file, checked before the detector sees it.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

#include "files/yaml_file.h"

namespace dirty_seg {

/// A patch as the file lists it.
struct ListedPatch {
  cv::Rect rectangle;
  std::size_t index = 0;  // in the file, counted from 0
  int line = 0;
};

/// "patch 2 (counted from 0)".
std::string PatchName(std::size_t index);

/// "patch.patches[2]".
std::string PatchKey(std::size_t index);

/// Returns the valid patches, in order, and adds an error for everything that is wrong: a key or
/// number of the wrong type, a patch outside the 1920 x 1080 frame or without area, a list that is
/// disabled, missing or empty. A patch may reach over the right and lower edge; the detector clips
/// it. The detector itself takes any number and then fails frame by frame, or throws without naming
/// the file.
std::vector<ListedPatch> ReadPatchList(const YAML::Node& root, std::vector<FileProblem>& findings);

}  // namespace dirty_seg
