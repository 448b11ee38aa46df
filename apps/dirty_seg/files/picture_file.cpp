#include "files/picture_file.h"

#include <fmt/format.h>

#include <filesystem>

#include "base/errors.h"
#include "files/bilevel_png.h"
#include "files/output_file.h"
#include "media/media.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr int kJpegQuality = 92;

}  // namespace

std::string EncodePictureFile(const std::string& path, const cv::Mat& picture) {
  const Media& media = LoadMedia();
  if (!media.CanWrite(path)) {
    throw InputError(
        fmt::format("'{}' cannot be written: expected a name that ends in .png or .jpg", path));
  }
  try {
    const auto bytes = media.Encode(fs::path(path).extension().string(), picture, kJpegQuality);
    return {bytes.begin(), bytes.end()};
  } catch (const cv::Exception& exception) {
    throw InputError(fmt::format("'{}' cannot be written: {}", path, exception.err));
  }
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
