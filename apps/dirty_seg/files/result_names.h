// Names of the files in a results folder.
#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <string_view>

namespace dirty_seg {

/// The file of results, one line per frame.
inline constexpr const char* kResultsFile = "results.jsonl";

inline constexpr const char* kSummaryFile = "summary.json";

/// Lists everything else that a run writes into its folder, one line each, added before the file is
/// written.
inline constexpr const char* kListFile = "results_files.txt";

/// Output formats with one file per run.
inline constexpr const char* kCocoResultsFile = "coco_results.json";
inline constexpr const char* kCocoImagesFile = "coco_images.json";
inline constexpr const char* kPolygonsFile = "polygons.jsonl";

/// Holds one text file per frame.
inline constexpr const char* kLabelsFolder = "labels";

/// Bytes that a file system takes for the name of a file.
inline constexpr std::size_t kMaxFileName = 255;

/// Whether it is a name that a run gives to pictures and videos of its own.
bool IsNameOfAResult(const std::string& file_name);

/// Between a video's name and the frame's number in the names of that frame's files.
inline constexpr std::string_view kFrameMark = ".frame_";

/// Hands out one name per picture: the path's PlainStem, with -2, -3, ... appended if that name is
/// taken.
class UniqueNames {
 public:
  std::string Take(const std::string& path);

 private:
  std::set<std::string> taken_;
};

}  // namespace dirty_seg
