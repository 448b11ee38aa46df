#include "files/output_folder.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "base/errors.h"
#include "files/earlier_run.h"
#include "files/json_text.h"
#include "files/result_names.h"
#include "files/run_folder.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

}  // namespace

OutputFolder::OutputFolder(const std::string& path, bool overwrite)
    : path_(path), results_path_((fs::path(path) / kResultsFile).string()) {
  MakeRunFolder(path, overwrite);
  try {
    Begin(overwrite);
  } catch (const OutputError& error) {
    throw SetupError(fmt::format("--output '{}': {}", path, error.what()));
  }
}

void OutputFolder::Begin(bool overwrite) {
  const int flags = O_NOFOLLOW | (overwrite ? 0 : O_EXCL);
  results_ = std::make_unique<OutputFile>(results_path_, flags);
  if (!results_->Lock()) {
    throw OutputError("another run is writing there; expected another folder, or that run to end");
  }
  RemoveEarlierRun(path_);
  results_->MakeEmpty();
  list_ =
      std::make_unique<OutputFile>((fs::path(path_) / kListFile).string(), O_NOFOLLOW | O_TRUNC);
}

void OutputFolder::WriteResult(const ordered_json& json) const {
  results_->Write(ToText(json) + "\n");
}

std::string OutputFolder::Claim(const std::string& file_name) const {
  list_->Write(file_name + "\n");
  return (fs::path(path_) / file_name).string();
}

void OutputFolder::Write(const PendingFile& file) const { WriteText(file.name, file.bytes); }

void OutputFolder::WriteText(const std::string& file_name, const std::string& text) const {
  WriteWholeFile(Claim(file_name), text);
}

void OutputFolder::WriteJson(const std::string& file_name, const ordered_json& json) const {
  WriteText(file_name, ToIndentedText(json));
}

void OutputFolder::WriteImage(const std::string& file_name, const cv::Mat& image) const {
  WriteText(file_name, EncodePictureFile(file_name, image));
}

void OutputFolder::MakeFolder(const std::string& name) const {
  const std::string path = Claim(name + "/");
  std::error_code error;
  fs::create_directories(path, error);
  if (error) throw OutputError(fmt::format("'{}' cannot be made: {}", path, error.message()));
}

}  // namespace dirty_seg
