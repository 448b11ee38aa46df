#include "files/picture_file.h"

#include <fmt/format.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <vector>

#include "base/errors.h"
#include "files/bilevel_png.h"
#include "files/output_file.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

using Parameters = std::vector<int>;

// For pictures; formats other than JPEG ignore it.
const Parameters kPicture{cv::IMWRITE_JPEG_QUALITY, 92};

std::string Encode(const std::string& path, const cv::Mat& picture, const Parameters& parameters) {
  if (!cv::haveImageWriter(path)) {
    throw InputError(
        fmt::format("'{}' cannot be written: expected a name that ends in .png or .jpg", path));
  }
  std::vector<unsigned char> bytes;
  try {
    cv::imencode(fs::path(path).extension().string(), picture, bytes, parameters);
  } catch (const cv::Exception& exception) {
    throw InputError(fmt::format("'{}' cannot be written: {}", path, exception.err));
  }
  return {bytes.begin(), bytes.end()};
}

}  // namespace

std::string EncodePictureFile(const std::string& path, const cv::Mat& picture) {
  return Encode(path, picture, kPicture);
}

void WritePicture(const std::string& path, const cv::Mat& picture) {
  WriteWholeFile(path, EncodePictureFile(path, picture));
}

PendingFile EncodeMask(const std::string& name, int label, const cv::Mat& mask) {
  return {fmt::format("{}.mask_{}.png", name, label), EncodeBilevelPng(mask)};
}

PendingFile EncodeOverlay(const std::string& name, const cv::Mat& overlay) {
  const std::string file_name = name + ".overlay.jpg";
  return {file_name, EncodePictureFile(file_name, overlay)};
}

}  // namespace dirty_seg
