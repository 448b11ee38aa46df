#include "files/picture_file.h"

#include <fmt/format.h>

#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <vector>

#include "base/errors.h"
#include "files/output_file.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr int kJpegQuality = 92;

}  // namespace

std::string EncodePictureFile(const std::string& path, const cv::Mat& picture) {
  if (!cv::haveImageWriter(path)) {
    throw InputError(
        fmt::format("'{}' cannot be written: expected a name that ends in .png or .jpg", path));
  }
  std::vector<unsigned char> bytes;
  try {
    // The parameter is only JPEG's; other formats ignore it.
    cv::imencode(fs::path(path).extension().string(), picture, bytes,
                 {cv::IMWRITE_JPEG_QUALITY, kJpegQuality});
  } catch (const cv::Exception& exception) {
    throw InputError(fmt::format("'{}' cannot be written: {}", path, exception.err));
  }
  return {bytes.begin(), bytes.end()};
}

void WritePicture(const std::string& path, const cv::Mat& picture) {
  WriteWholeFile(path, EncodePictureFile(path, picture));
}

PendingFile EncodeMask(const std::string& name, int label, const cv::Mat& mask) {
  const std::string file_name = fmt::format("{}.mask_{}.png", name, label);
  return {file_name, EncodePictureFile(file_name, mask != 0)};
}

PendingFile EncodeOverlay(const std::string& name, const cv::Mat& overlay) {
  const std::string file_name = name + ".overlay.jpg";
  return {file_name, EncodePictureFile(file_name, overlay)};
}

}  // namespace dirty_seg
