// Where results go: JSON lines, and a folder with pictures beside them.
#pragma once

#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <opencv2/core.hpp>
#include <set>
#include <string>

namespace dirty_seg {

/// Hands out one name a picture. The stem of the path, or with -2, -3, ... behind it when that name
/// is taken.
class UniqueNames {
 public:
  std::string Take(const std::string& path);

 private:
  std::set<std::string> taken_;
};

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
  /// folder that has anything in it is refused. Throws SetupError with the cause.
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

 private:
  void WriteFile(const std::string& file_name, const void* bytes, std::size_t length) const;

  std::string path_;
  std::string results_path_;
  std::unique_ptr<std::FILE, int (*)(std::FILE*)> results_;
};

}  // namespace dirty_seg
