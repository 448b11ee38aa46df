// A run's output folder.
#pragma once

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>
#include <string>

#include "files/output_file.h"
#include "files/picture_file.h"

namespace dirty_seg {

/// A folder for the results of one run, locked against other runs while it lasts.
class OutputFolder {
 public:
  /// Creates the folder if it does not exist and starts its results.jsonl. Unless `overwrite`, a
  /// folder that is not empty is refused; with it, what an earlier run wrote is removed, and
  /// everything else is kept. Throws SetupError with the cause.
  OutputFolder(const std::string& path, bool overwrite);

  const std::string& results_path() const { return results_path_; }

  /// Adds to results.jsonl, as WriteJsonLine does.
  void WriteResult(const nlohmann::ordered_json& json) const;

  /// Adds the file to the list (kListFile) and returns its path. Throws OutputError.
  std::string Claim(const std::string& file_name) const;

  /// Each throws OutputError with the cause. JSON is indented; a picture's format follows its
  /// extension, and InputError is thrown if it cannot be encoded.
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

}  // namespace dirty_seg
