// What the command line names, as pictures.
#pragma once

#include <opencv2/core.hpp>
#include <string>
#include <vector>

namespace dirty_seg {

/// One picture to read, or an argument that leads to none.
struct Input {
  std::string path;
  /// Empty, or why there is no picture.
  std::string failure;
};

/// Replaces each folder by its pictures, sorted by name; files of other kinds and folders in it are
/// passed over. The order of `arguments` stays. A file named by itself is taken whatever its name.
std::vector<Input> ExpandInputs(const std::vector<std::string>& arguments);

/// Reads a picture as CV_8UC3 in B, G, R order. Throws InputError with the cause.
cv::Mat ReadPicture(const std::string& path);

}  // namespace dirty_seg
