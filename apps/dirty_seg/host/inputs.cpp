#include "host/inputs.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <opencv2/imgcodecs.hpp>
#include <system_error>

#include "host/errors.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 10> kExtensions{".jpg",  ".jpeg", ".png", ".bmp", ".tif",
                                                  ".tiff", ".webp", ".ppm", ".pgm", ".jp2"};

bool HasPictureName(const fs::path& path) {
  std::string extension = path.extension().string();
  std::transform(extension.begin(), extension.end(), extension.begin(), [](char c) {
    return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  });
  return std::find(kExtensions.begin(), kExtensions.end(), extension) != kExtensions.end();
}

void AppendFolder(const std::string& folder, std::vector<Input>& inputs) {
  std::error_code error;
  std::vector<std::string> paths;
  for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code ignored;
    if (HasPictureName(entry->path()) && entry->is_regular_file(ignored)) {
      paths.push_back(entry->path().string());
    }
  }
  if (error) {
    inputs.push_back({folder, "the folder cannot be read: " + error.message()});
  } else if (paths.empty()) {
    std::string expected;
    for (const char* extension : kExtensions) expected += std::string(" *") + extension;
    inputs.push_back({folder, "the folder has no picture; expected files named" + expected});
  }
  std::sort(paths.begin(), paths.end());
  for (std::string& path : paths) inputs.push_back({std::move(path), ""});
}

}  // namespace

std::vector<Input> ExpandInputs(const std::vector<std::string>& arguments) {
  std::vector<Input> inputs;
  for (const std::string& argument : arguments) {
    std::error_code error;
    if (fs::is_directory(argument, error)) {
      AppendFolder(argument, inputs);
    } else {
      inputs.push_back({argument, ""});
    }
  }
  return inputs;
}

cv::Mat ReadPicture(const std::string& path) {
  errno = 0;
  if (!std::ifstream(path, std::ios::binary).is_open()) {
    throw InputError(std::string("cannot be opened: ") +
                     std::strerror(errno == 0 ? ENOENT : errno));
  }
  cv::Mat picture;
  try {
    picture = cv::imread(path, cv::IMREAD_COLOR);
  } catch (const cv::Exception& exception) {
    throw InputError("cannot be read as a picture: " + exception.err);
  }
  if (picture.empty()) throw InputError("is no picture that can be read");
  return picture;
}

}  // namespace dirty_seg
