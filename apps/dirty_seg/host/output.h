// Where results go: JSON lines, and a folder with pictures beside them.
#pragma once

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <set>
#include <string>
#include <string_view>

#include "host/output_file.h"

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

/// Writes `text` and flushes it. Returns whether all of it went out; `errno` tells why not.
bool WriteText(const std::string& text, std::FILE* file);

/// Writes what a command is asked for to standard output. Throws SetupError, naming it by `what`,
/// where not all of it goes out.
void PrintResult(const std::string& text, const char* what, std::FILE* file = stdout);

/// Throws SetupError where `path` is there. `otherwise` goes behind the hint at --overwrite.
void RefuseToReplace(const std::string& path, const char* otherwise = "");

/// Writes `json` as one line and flushes it, so that a reader sees every finished frame. Bytes that
/// are no UTF-8 are replaced. Throws OutputError with the cause, naming `destination`.
void WriteJsonLine(const nlohmann::ordered_json& json, const std::string& destination,
                   std::FILE* file);

/// Writes a picture in the format that the name's ending says. Throws InputError for a picture that
/// the format cannot hold, and OutputError.
void WritePicture(const std::string& path, const cv::Mat& picture);

/// A file that has its name and is still to be written.
struct PendingFile {
  std::string name;
  std::string bytes;
};

/// NAME.mask_LABEL.png, 0 or 255. Throws InputError.
PendingFile EncodeMask(const std::string& name, int label, const cv::Mat& mask);

/// NAME.overlay.jpg. Throws InputError.
PendingFile EncodeOverlay(const std::string& name, const cv::Mat& overlay);

/// A folder for the results of one run, locked against others for as long.
class OutputFolder {
 public:
  /// Makes the folder where there is none and begins its results.jsonl. Unless `overwrite`, a
  /// folder that has anything in it is refused; with it, what an earlier run wrote is removed, and
  /// all else stays. Throws SetupError with the cause.
  OutputFolder(const std::string& path, bool overwrite);

  const std::string& results_path() const { return results_path_; }

  /// Adds to results.jsonl, as WriteJsonLine does.
  void WriteResult(const nlohmann::ordered_json& json) const;

  /// Lists the file and returns its path. Throws OutputError.
  std::string Claim(const std::string& file_name) const;

  /// Each throws OutputError with the cause. JSON is indented; a picture's form is told by its
  /// extension, and InputError thrown where it cannot be had.
  void Write(const PendingFile& file) const;
  void WriteText(const std::string& file_name, const std::string& text) const;
  void WriteJson(const std::string& file_name, const nlohmann::ordered_json& json) const;
  void WriteImage(const std::string& file_name, const cv::Mat& image) const;
  void MakeFolder(const std::string& name) const;

 private:
  void Begin(bool overwrite);

  std::string path_;
  std::string results_path_;
  std::unique_ptr<OutputFile> results_;
  std::unique_ptr<OutputFile> list_;
};

/// In one line. Bytes that are no UTF-8 are replaced; no control character is left in it.
std::string ToText(const nlohmann::ordered_json& json);

/// The same indented, for a person too, with a line break at its end.
std::string ToIndentedText(const nlohmann::ordered_json& json);

}  // namespace dirty_seg
