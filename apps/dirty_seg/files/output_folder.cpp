#include "files/output_folder.h"

#include <fcntl.h>
#include <fmt/format.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "base/errors.h"
#include "files/earlier_run.h"
#include "files/json_text.h"
#include "files/result_names.h"
#include "files/run_folder.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

// A run that was killed at its start leaves an empty file.
FolderUse UseOf(FolderUse wanted, const std::string& results_path) {
  if (wanted != FolderUse::kGoOn) return wanted;
  std::error_code error;
  const std::uintmax_t size = fs::file_size(results_path, error);
  if (error) return FolderUse::kNew;
  return size == 0 ? FolderUse::kReplace : FolderUse::kGoOn;
}

}  // namespace

OutputFolder::OutputFolder(const std::string& path, FolderUse use)
    : path_(path), results_path_((fs::path(path) / kResultsFile).string()) {
  use = UseOf(use, results_path_);
  has_earlier_ = use == FolderUse::kGoOn;
  if (!has_earlier_) MakeRunFolder(path, use == FolderUse::kReplace);
  try {
    Open(use == FolderUse::kNew);
  } catch (const OutputError& error) {
    throw SetupError(fmt::format("--output '{}': {}", path, error.what()));
  }
}

void OutputFolder::Open(bool is_new) {
  results_ = std::make_unique<OutputFile>(results_path_, O_NOFOLLOW | (is_new ? O_EXCL : 0));
  if (!results_->Lock()) {
    throw OutputError("another run is writing there; expected another folder, or that run to end");
  }
  if (!has_earlier_) {
    RemoveEarlierRun(path_);
    results_->CutTo(0);
  }
  ReadList((fs::path(path_) / kListFile).string());
}

// A run that was killed may have left a last name in part.
void OutputFolder::ReadList(const std::string& path) {
  list_ = std::make_unique<OutputFile>(path, O_NOFOLLOW | (has_earlier_ ? 0 : O_TRUNC));
  std::ifstream list(path, std::ios::binary);
  std::int64_t bytes = 0;
  for (std::string name; std::getline(list, name) && !list.eof();) {
    bytes += static_cast<std::int64_t>(name.size()) + 1;
    earlier_names_.insert(std::move(name));
  }
  list_->CutTo(bytes);
}

void OutputFolder::WriteResult(const ordered_json& json) const {
  results_->Write(ToText(json) + "\n");
}

std::string OutputFolder::Claim(const std::string& file_name) const {
  if (earlier_names_.count(file_name) == 0) list_->Write(file_name + "\n");
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
