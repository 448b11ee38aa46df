#include "host/output.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <vector>

#include "host/errors.h"
#include "host/run_folder.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

constexpr int kJpegQuality = 92;

std::string LastError() { return std::strerror(errno); }

File OpenForWriting(const std::string& path) {
  return {std::fopen(path.c_str(), "wb"), &std::fclose};
}

void WriteBytes(const std::string& path, const void* bytes, std::size_t length) {
  File file = OpenForWriting(path);
  if (file == nullptr || std::fwrite(bytes, 1, length, file.get()) != length ||
      std::fclose(file.release()) != 0) {
    throw InputError("'" + path + "' cannot be written: " + LastError());
  }
}

}  // namespace

std::string UniqueNames::Take(const std::string& path) {
  const std::string stem = fs::path(path).stem().string();
  std::string name = stem;
  for (int number = 2; !taken_.insert(name).second; ++number) {
    name = stem + "-" + std::to_string(number);
  }
  return name;
}

void WriteJsonLine(const ordered_json& json, const std::string& destination, std::FILE* file) {
  const std::string line = json.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
  if (std::fwrite(line.data(), 1, line.size(), file) != line.size() || std::fflush(file) != 0) {
    const std::string cause = LastError();
    std::clearerr(file);
    throw InputError("the result cannot be written to " + destination + ": " + cause);
  }
}

void WritePicture(const std::string& path, const cv::Mat& picture) {
  if (!cv::haveImageWriter(path)) {
    throw InputError("'" + path + "' cannot be written: expected a name that ends in .png or .jpg");
  }
  std::vector<unsigned char> bytes;
  cv::imencode(fs::path(path).extension().string(), picture, bytes);
  WriteBytes(path, bytes.data(), bytes.size());
}

OutputFolder::OutputFolder(const std::string& path, bool overwrite)
    : path_(path),
      results_path_((fs::path(path) / "results.jsonl").string()),
      results_(nullptr, &std::fclose) {
  MakeRunFolder(path, overwrite);
  results_ = OpenForWriting(results_path_);
  if (results_ == nullptr) {
    throw SetupError("--output '" + path + "': '" + results_path_ +
                     "' cannot be written: " + LastError());
  }
}

std::string OutputFolder::WriteMask(const std::string& name, int label, const cv::Mat& mask) const {
  std::string file_name = name + ".mask_" + std::to_string(label) + ".png";
  std::vector<unsigned char> bytes;
  cv::imencode(".png", mask != 0, bytes);
  WriteFile(file_name, bytes.data(), bytes.size());
  return file_name;
}

std::string OutputFolder::WriteOverlay(const std::string& name, const cv::Mat& overlay) const {
  std::string file_name = name + ".overlay.jpg";
  std::vector<unsigned char> bytes;
  cv::imencode(".jpg", overlay, bytes, {cv::IMWRITE_JPEG_QUALITY, kJpegQuality});
  WriteFile(file_name, bytes.data(), bytes.size());
  return file_name;
}

void OutputFolder::WriteJson(const std::string& file_name, const ordered_json& json) const {
  const std::string text = json.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
  WriteFile(file_name, text.data(), text.size());
}

void OutputFolder::WriteFile(const std::string& file_name, const void* bytes,
                             std::size_t length) const {
  WriteBytes((fs::path(path_) / file_name).string(), bytes, length);
}

}  // namespace dirty_seg
