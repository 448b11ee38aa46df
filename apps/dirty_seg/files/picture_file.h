// Encodes pictures and writes them to files.
#pragma once

#include <opencv2/core.hpp>
#include <string>

namespace dirty_seg {

/// The picture in the format of the extension of `path`; JPEG at quality 92. Throws InputError,
/// naming `path`, if the format is not known or cannot hold the picture.
std::string EncodePictureFile(const std::string& path, const cv::Mat& picture);

/// Writes a picture in the format of the extension. Throws InputError for a picture that the format
/// cannot hold, and OutputError.
void WritePicture(const std::string& path, const cv::Mat& picture);

/// An encoded file that is still to be written.
struct PendingFile {
  std::string name;
  std::string bytes;
};

/// NAME.mask_LABEL.png, 0 or 255. Throws InputError.
PendingFile EncodeMask(const std::string& name, int label, const cv::Mat& mask);

/// NAME.overlay.jpg. Throws InputError.
PendingFile EncodeOverlay(const std::string& name, const cv::Mat& overlay);

}  // namespace dirty_seg
