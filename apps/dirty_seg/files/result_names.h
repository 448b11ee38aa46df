// What the files of a folder of results are called.
#pragma once

#include <set>
#include <string>
#include <string_view>

namespace dirty_seg {

/// The file of lines in a folder of results.
inline constexpr const char* kResultsFile = "results.jsonl";

inline constexpr const char* kSummaryFile = "summary.json";

/// Names all else that a run wrote into its folder, a line each, from before it began with it.
inline constexpr const char* kListFile = "results_files.txt";

/// Forms of results that are one file a run.
inline constexpr const char* kCocoResultsFile = "coco_results.json";
inline constexpr const char* kCocoImagesFile = "coco_images.json";
inline constexpr const char* kPolygonsFile = "polygons.jsonl";

/// Holds a text file a frame.
inline constexpr const char* kLabelsFolder = "labels";

/// Whether a folder of results names pictures and videos of its own so.
bool IsNameOfAResult(const std::string& file_name);

/// Stands between a video's name and its frame's number in the names of that frame's files.
inline constexpr std::string_view kFrameMark = ".frame_";

/// Hands out one name a picture. The path's PlainStem, or with -2, -3, ... behind it when that name
/// is taken.
class UniqueNames {
 public:
  std::string Take(const std::string& path);

 private:
  std::set<std::string> taken_;
};

}  // namespace dirty_seg
