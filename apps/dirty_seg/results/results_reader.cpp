#include "results/results_reader.h"

#include <fmt/format.h>

#include <cerrno>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/errors.h"
#include "console/interruption.h"
#include "console/messages.h"
#include "files/open_failure.h"
#include "files/result_names.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

// The results file that `path` names.
std::string FindFile(const std::string& path) {
  std::error_code error;
  if (!fs::is_directory(path, error)) return path;
  const fs::path file = fs::path(path) / kResultsFile;
  if (!fs::exists(file, error)) {
    throw SetupError(fmt::format(
        "'{}': the folder has no {}; expected one that 'dirty_seg detect --output' wrote", path,
        kResultsFile));
  }
  return file.string();
}

// Whether the file's last line is incomplete, or the zeros that a file system leaves where data did
// not reach the disk.
bool IsUnfinished(const std::ifstream& stream, const std::string& text) {
  const bool begins_as_one = text[0] == '{' || text.find_first_not_of('\0') == std::string::npos;
  return stream.eof() && begins_as_one && !nlohmann::json::accept(text);
}

}  // namespace

ResultsFile::ResultsFile(const std::string& path) : path_(FindFile(path)) {
  errno = 0;
  stream_.open(path_, std::ios::binary);
  if (!stream_) throw SetupError(fmt::format("'{}': {}", path_, OpenFailure(errno)));
}

std::optional<StoredFrame> ResultsFile::Next() {
  std::string text;
  while (std::getline(stream_, text)) {
    ThrowIfInterrupted();
    ++line_;
    const auto bytes = static_cast<std::int64_t>(text.size()) + (stream_.eof() ? 0 : 1);
    if (text.find_first_not_of(" \t\r") == std::string::npos) {
      offset_ += bytes;
      continue;
    }
    ends_unfinished_ = IsUnfinished(stream_, text);
    if (ends_unfinished_) return std::nullopt;
    StoredFrame frame = ReadStoredFrame(text, path_, line_);
    offset_ += bytes;
    return frame;
  }
  if (stream_.bad()) throw SetupError(fmt::format("'{}': cannot be read to its end", path_));
  return std::nullopt;
}

Results ReadResults(const std::string& path) {
  ResultsFile file(path);
  Results results;
  results.file = file.path();
  results.folder = fs::path(results.file).parent_path().string();
  while (std::optional<StoredFrame> frame = file.Next()) {
    results.frames.push_back(*std::move(frame));
  }
  results.ends_unfinished = file.ends_unfinished();
  if (results.ends_unfinished) {
    PrintWarning(LinePlace(results.file, file.line()) +
                 "ends in the middle, as a run that is killed leaves it, and is left out");
  }
  return results;
}

}  // namespace dirty_seg
