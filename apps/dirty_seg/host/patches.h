// The patch list of a configuration file, checked before the detector sees it.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dirty_seg {

/// The file's patches in order, as written: at least one, each with a corner inside the
/// 1920 x 1080 frame. A patch may reach over the right and lower edge; the detector clips it.
///
/// The detector itself takes any number and then fails frame by frame, or throws without naming the
/// file. So this throws SetupError, naming file, line, patch and what would be right, for a file
/// that cannot be read or is no YAML, a key or number of the wrong type, a patch outside the frame
/// or without area, and a list that is disabled, missing or empty.
std::vector<cv::Rect> ReadPatches(const std::string& config_path);

}  // namespace dirty_seg
