// Where results go: JSON lines, and a folder with pictures beside them.
#pragma once

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <set>
#include <string>
#include <string_view>

namespace dirty_seg {

/// The file of lines in a folder of results.
inline constexpr const char* kResultsFile = "results.jsonl";

inline constexpr const char* kSummaryFile = "summary.json";

/// Whether a folder of results names pictures and videos of its own so.
bool IsNameOfAResult(const std::string& file_name);

/// Stands between a video's name and its frame's number in the names of that frame's files.
inline constexpr std::string_view kFrameMark = ".frame_";

/// Hands out one name a picture. The stem of the path, or with -2, -3, ... behind it when that name
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
/// are no UTF-8 are replaced. Throws InputError with the cause, naming `destination`.
void WriteJsonLine(const nlohmann::ordered_json& json, const std::string& destination,
                   std::FILE* file);

/// Writes a picture in the format that the name's ending says. Throws InputError with the cause.
void WritePicture(const std::string& path, const cv::Mat& picture);

/// A folder for the results of one run.
class OutputFolder {
 public:
  /// Makes the folder where there is none and begins its results.jsonl. Unless `overwrite`, a
  /// folder that has anything in it is refused; with it, files of other names stay, but no
  /// summary.json of another run. Throws SetupError with the cause.
  OutputFolder(const std::string& path, bool overwrite);

  const std::string& path() const { return path_; }

  const std::string& results_path() const { return results_path_; }
  std::FILE* results() const { return results_.get(); }

  /// Writes NAME.mask_LABEL.png, 0 or 255, and returns its name. Throws InputError.
  std::string WriteMask(const std::string& name, int label, const cv::Mat& mask) const;

  /// Writes NAME.overlay.jpg and returns its name. Throws InputError.
  std::string WriteOverlay(const std::string& name, const cv::Mat& overlay) const;

  /// Writes `json`, indented. Throws InputError.
  void WriteJson(const std::string& file_name, const nlohmann::ordered_json& json) const;

  /// Each throws InputError. A picture's form is told by its extension.
  void WriteText(const std::string& file_name, const std::string& text) const;
  void WriteImage(const std::string& file_name, const cv::Mat& image) const;
  void MakeFolder(const std::string& name) const;

 private:
  std::string path_;
  std::string results_path_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> results_;
};

/// A file of an output folder that grows.
class OutputFile {
 public:
  /// Throws SetupError with the cause.
  OutputFile(const OutputFolder& folder, const std::string& file_name);

  /// Each throws InputError with the cause.
  void Write(const std::string& text);
  void Close();

 private:
  std::string path_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> file_;
};

/// In one line. Bytes that are no UTF-8 are replaced.
std::string ToText(const nlohmann::ordered_json& json);

/// Indented, for a person too, with a line break at its end. Bytes that are no UTF-8 are replaced.
std::string ToIndentedText(const nlohmann::ordered_json& json);

}  // namespace dirty_seg
