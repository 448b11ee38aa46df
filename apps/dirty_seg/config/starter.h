// The two files that `init` writes for a new user.
#pragma once

#include <map>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dirty_seg {

/// Patches side by side over the 1920 x 1080 frame.
struct Grid {
  int columns = 3;
  int rows = 2;

  int count() const { return columns * rows; }
};

/// Parses "3x2"; nothing for any other text, and for a number outside 1 to 64.
std::optional<Grid> ParseGrid(const std::string& text);

std::string GridText(const Grid& grid);

/// The patches of a grid, row by row, all of one size: neighbours share at least `overlap` pixels,
/// and the size is the smallest that fills the network's square whole. Throws SetupError if there
/// is no such size.
std::vector<cv::Rect> LayOutGrid(const Grid& grid, int overlap, int side);

/// Default overlap of neighbours, in pixels.
inline constexpr int kDefaultOverlap = 80;

/// The default grid for a network: the first of those that fit its batch, or if the file leaves
/// that open, 3x2 or the first of more patches that a check has no warning for.
Grid DefaultGrid(int side, std::optional<int> batch, int overlap);

/// Grids of at most `slots` patches, at most three of them, those first that leave the least of the
/// batch's input grey.
std::vector<Grid> GridsThatFit(int slots, int overlap, int side);

/// The configuration file: patches, and every key of `postprocess` with its default and range,
/// those that are left out by default as a comment.
std::string StarterConfig(const std::vector<cv::Rect>& patches, const std::string& layout);

struct StarterNetworks {
  std::string model;          // as the host file names it
  std::string model_comment;  // what it is
  std::map<std::int32_t, std::string> class_names;
  std::string fece_model;  // empty: no classifier
  std::vector<int> fece_class_ids;
};

/// Ids of the classes whose names contain a word for faeces.
std::vector<int> FeceClassesByName(const std::map<std::int32_t, std::string>& class_names,
                                   int classes);

/// The host file, for a configuration file of that name in the same folder.
std::string StarterHost(const StarterNetworks& networks, const std::string& config_name);

}  // namespace dirty_seg
