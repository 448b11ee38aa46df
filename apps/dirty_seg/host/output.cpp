#include "host/output.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <regex>
#include <system_error>
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

// Whether `name` is `video` with a frame's number behind it.
bool IsFrameOf(const std::string& video, const std::string& name) {
  const std::size_t begin = video.size() + kFrameMark.size();
  return name.size() > begin && name.compare(0, video.size(), video) == 0 &&
         name.compare(video.size(), kFrameMark.size(), kFrameMark) == 0 &&
         name.find_first_not_of("0123456789", begin) == std::string::npos;
}

// A picture may be called as a frame of a video is, which would write over its files.
bool IsFree(const std::string& name, const std::set<std::string>& taken) {
  if (taken.count(name) != 0) return false;
  const std::size_t mark = name.rfind(kFrameMark);
  if (mark != std::string::npos) {
    const std::string video = name.substr(0, mark);
    if (IsFrameOf(video, name) && taken.count(video) != 0) return false;
  }
  const std::string frames = name + std::string(kFrameMark);
  for (auto other = taken.lower_bound(frames);
       other != taken.end() && other->compare(0, frames.size(), frames) == 0; ++other) {
    if (IsFrameOf(name, *other)) return false;
  }
  return true;
}

File OpenForWriting(const std::string& path) {
  return {std::fopen(path.c_str(), "wb"), &std::fclose};
}

void WriteBytes(const std::string& path, const void* bytes, std::size_t length) {
  File file = OpenForWriting(path);
  if (file == nullptr) throw InputError("'" + path + "' cannot be written: " + LastError());
  const bool is_written = std::fwrite(bytes, 1, length, file.get()) == length;
  if (std::fclose(file.release()) == 0 && is_written) return;
  const std::string cause = LastError();
  // A file that is cut short would pass for a whole one.
  std::error_code ignored;
  if (fs::is_regular_file(path, ignored)) fs::remove(path, ignored);
  throw InputError("'" + path + "' cannot be written: " + cause);
}

}  // namespace

bool IsNameOfAResult(const std::string& file_name) {
  static const std::regex kName(R"(.+\.(overlay\.(jpg|avi)|mask_\d+\.png|crop_\d+\..+\.png))");
  return std::regex_match(file_name, kName);
}

std::string UniqueNames::Take(const std::string& path) {
  const std::string stem = fs::path(path).stem().string();
  std::string name = stem;
  for (int number = 2; !IsFree(name, taken_); ++number) {
    name = stem + "-" + std::to_string(number);
  }
  taken_.insert(name);
  return name;
}

// Past the stream's buffer, which would lose its place when Ctrl-C interrupts a full pipe.
bool WriteText(const std::string& text, std::FILE* file) {
  if (std::fflush(file) != 0) return false;
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t count = write(fileno(file), text.data() + done, text.size() - done);
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) done += static_cast<std::size_t>(count);
  }
  return true;
}

void PrintResult(const std::string& text, const char* what, std::FILE* file) {
  if (!WriteText(text, file)) {
    throw SetupError(std::string(what) + " cannot be written to standard output: " + LastError());
  }
}

void RefuseToReplace(const std::string& path, const char* otherwise) {
  std::error_code error;
  if (fs::exists(path, error)) {
    throw SetupError("'" + path + "' is there already; --overwrite replaces it" + otherwise);
  }
}

void WriteJsonLine(const ordered_json& json, const std::string& destination, std::FILE* file) {
  if (!WriteText(ToText(json) + "\n", file)) {
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
  try {
    // The parameter is JPEG's alone; other formats pass over it.
    cv::imencode(fs::path(path).extension().string(), picture, bytes,
                 {cv::IMWRITE_JPEG_QUALITY, kJpegQuality});
  } catch (const cv::Exception& exception) {
    throw InputError("'" + path + "' cannot be written: " + exception.err);
  }
  WriteBytes(path, bytes.data(), bytes.size());
}

OutputFolder::OutputFolder(const std::string& path, bool overwrite)
    : path_(path),
      results_path_((fs::path(path) / kResultsFile).string()),
      results_(nullptr, &std::fclose) {
  MakeRunFolder(path, overwrite);
  results_ = OpenForWriting(results_path_);
  if (results_ == nullptr) {
    throw SetupError("--output '" + path + "': '" + results_path_ +
                     "' cannot be written: " + LastError());
  }
  std::error_code ignored;
  fs::remove(fs::path(path) / kSummaryFile, ignored);
}

std::string OutputFolder::WriteMask(const std::string& name, int label, const cv::Mat& mask) const {
  std::string file_name = name + ".mask_" + std::to_string(label) + ".png";
  WriteImage(file_name, mask != 0);
  return file_name;
}

std::string OutputFolder::WriteOverlay(const std::string& name, const cv::Mat& overlay) const {
  std::string file_name = name + ".overlay.jpg";
  WriteImage(file_name, overlay);
  return file_name;
}

void OutputFolder::WriteImage(const std::string& file_name, const cv::Mat& image) const {
  WritePicture((fs::path(path_) / file_name).string(), image);
}

void OutputFolder::WriteText(const std::string& file_name, const std::string& text) const {
  WriteBytes((fs::path(path_) / file_name).string(), text.data(), text.size());
}

void OutputFolder::MakeFolder(const std::string& name) const {
  const fs::path path = fs::path(path_) / name;
  std::error_code error;
  fs::create_directories(path, error);
  if (error) throw InputError("'" + path.string() + "' cannot be made: " + error.message());
}

void OutputFolder::WriteJson(const std::string& file_name, const ordered_json& json) const {
  WriteText(file_name, ToIndentedText(json));
}

OutputFile::OutputFile(const OutputFolder& folder, const std::string& file_name)
    : path_((fs::path(folder.path()) / file_name).string()), file_(OpenForWriting(path_)) {
  if (file_ == nullptr) throw SetupError("'" + path_ + "' cannot be written: " + LastError());
}

void OutputFile::Write(const std::string& text) {
  if (!WriteText(text, file_.get())) {
    throw InputError("'" + path_ + "' cannot be written: " + LastError());
  }
}

void OutputFile::Close() {
  if (file_ != nullptr && std::fclose(file_.release()) != 0) {
    throw InputError("'" + path_ + "' cannot be written: " + LastError());
  }
}

std::string ToText(const ordered_json& json) {
  return json.dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

std::string ToIndentedText(const ordered_json& json) {
  return json.dump(2, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace dirty_seg
