// A run's output folder.
#pragma once

#include <cstdint>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <opencv2/core.hpp>
#include <set>
#include <string>

#include "files/output_file.h"
#include "files/picture_file.h"

namespace dirty_seg {

enum class FolderUse {
  kNew,      // a folder that is not empty is refused
  kReplace,  // what an earlier run wrote is removed, and everything else is kept
  kGoOn,     // what an earlier run wrote is kept; a folder without its results is a new one
};

/// A folder for the results of one run, locked against other runs while it lasts.
class OutputFolder {
 public:
  /// Creates the folder if it does not exist and starts, or opens, its results.jsonl. Throws
  /// SetupError with the cause.
  OutputFolder(const std::string& path, FolderUse use);

  const std::string& path() const { return path_; }
  const std::string& results_path() const { return results_path_; }

  /// Whether an earlier run's results are there, to be gone on with.
  bool has_earlier() const { return has_earlier_; }

  /// Keeps the first `bytes` of results.jsonl; what is written next follows them. Throws
  /// OutputError.
  void CutResults(std::int64_t bytes) const { results_->CutTo(bytes); }

  /// Adds to results.jsonl, as WriteJsonLine does.
  void WriteResult(const nlohmann::ordered_json& json) const;

  /// Adds the file to the list (kListFile), unless an earlier run did, and returns its path. Throws
  /// OutputError.
  std::string Claim(const std::string& file_name) const;

  /// Each throws OutputError with the cause. JSON is indented; a picture's format follows its
  /// extension, and InputError is thrown if it cannot be encoded.
  void Write(const PendingFile& file) const;
  void WriteText(const std::string& file_name, const std::string& text) const;
  void WriteJson(const std::string& file_name, const nlohmann::ordered_json& json) const;
  void WriteImage(const std::string& file_name, const cv::Mat& image) const;
  void MakeFolder(const std::string& name) const;

 private:
  void Open(bool is_new);
  void ReadList(const std::string& path);

  std::string path_;
  std::string results_path_;
  bool has_earlier_ = false;
  std::set<std::string> earlier_names_;  // in the list
  std::unique_ptr<OutputFile> results_;
  std::unique_ptr<OutputFile> list_;
};

}  // namespace dirty_seg
