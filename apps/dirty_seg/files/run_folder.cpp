#include "files/run_folder.h"

#include <fmt/format.h>

#include <filesystem>
#include <system_error>

#include "base/errors.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRuns = "runs";

[[noreturn]] void Reject(const std::string& option, const std::string& path,
                         const std::error_code& error) {
  throw SetupError(
      fmt::format("{} '{}': the folder cannot be made: {}", option, path, error.message()));
}

}  // namespace

void MakeRunFolder(const std::string& path, bool overwrite) {
  std::error_code error;
  fs::create_directories(path, error);
  if (error) Reject("--output", path, error);
  if (overwrite || fs::is_empty(path, error)) return;
  throw SetupError(fmt::format(
      "--output '{}': the folder is not empty; expected a new one, or --overwrite to replace what "
      "is there",
      path));
}

std::string MakeNumberedRunFolder(const std::string& command) {
  std::error_code error;
  fs::create_directories(kRuns, error);
  if (error) Reject("--save", kRuns, error);
  for (int number = 1;; ++number) {
    const std::string suffix = number == 1 ? "" : std::to_string(number);
    std::string path = (fs::path(kRuns) / (command + suffix)).string();
    if (fs::create_directory(path, error)) return path;
    if (error && error != std::errc::file_exists) Reject("--save", path, error);
  }
}

}  // namespace dirty_seg
