#include "host/output.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <opencv2/imgcodecs.hpp>
#include <regex>
#include <system_error>
#include <vector>

#include "host/earlier_run.h"
#include "host/errors.h"
#include "host/name_text.h"
#include "host/run_folder.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::ordered_json;

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

std::string Encode(const std::string& path, const cv::Mat& picture) {
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
  return {bytes.begin(), bytes.end()};
}

// A terminal takes also the controls that JSON leaves as they are: U+007F to U+009F.
std::string WithoutControls(const std::string& json) {
  std::string text;
  text.reserve(json.size());
  for (std::size_t i = 0; i < json.size(); ++i) {
    const auto byte = static_cast<unsigned char>(json[i]);
    const bool has_next = byte == 0xc2 && i + 1 < json.size();
    const auto next = static_cast<unsigned char>(has_next ? json[i + 1] : '\xff');
    if (byte != 0x7f && next >= 0xa0) {
      text += json[i];
      continue;
    }
    std::array<char, 8> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x", byte == 0x7f ? byte : next);
    text += escape.data();
    if (has_next) ++i;
  }
  return text;
}

}  // namespace

bool IsNameOfAResult(const std::string& file_name) {
  static const std::regex kName(
      R"(.+\.(overlay\.(jpg|(part\.)?avi)|mask_\d+\.png|crop_\d+\..+\.png))");
  return std::regex_match(file_name, kName);
}

std::string UniqueNames::Take(const std::string& path) {
  const std::string stem = PlainStem(path);
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
    throw OutputError("the result cannot be written to " + destination + ": " + cause);
  }
}

void WritePicture(const std::string& path, const cv::Mat& picture) {
  WriteWholeFile(path, Encode(path, picture));
}

PendingFile EncodeMask(const std::string& name, int label, const cv::Mat& mask) {
  const std::string file_name = name + ".mask_" + std::to_string(label) + ".png";
  return {file_name, Encode(file_name, mask != 0)};
}

PendingFile EncodeOverlay(const std::string& name, const cv::Mat& overlay) {
  const std::string file_name = name + ".overlay.jpg";
  return {file_name, Encode(file_name, overlay)};
}

OutputFolder::OutputFolder(const std::string& path, bool overwrite)
    : path_(path), results_path_((fs::path(path) / kResultsFile).string()) {
  MakeRunFolder(path, overwrite);
  try {
    Begin(overwrite);
  } catch (const OutputError& error) {
    throw SetupError("--output '" + path + "': " + error.what());
  }
}

void OutputFolder::Begin(bool overwrite) {
  const int flags = O_NOFOLLOW | (overwrite ? 0 : O_EXCL);
  results_ = std::make_unique<OutputFile>(results_path_, flags);
  if (!results_->Lock()) {
    throw OutputError("another run is writing there; expected another folder, or that run to end");
  }
  RemoveEarlierRun(path_);
  results_->MakeEmpty();
  list_ =
      std::make_unique<OutputFile>((fs::path(path_) / kListFile).string(), O_NOFOLLOW | O_TRUNC);
}

void OutputFolder::WriteResult(const ordered_json& json) const {
  results_->Write(ToText(json) + "\n");
}

std::string OutputFolder::Claim(const std::string& file_name) const {
  list_->Write(file_name + "\n");
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
  WriteText(file_name, Encode(file_name, image));
}

void OutputFolder::MakeFolder(const std::string& name) const {
  const std::string path = Claim(name + "/");
  std::error_code error;
  fs::create_directories(path, error);
  if (error) throw OutputError("'" + path + "' cannot be made: " + error.message());
}

std::string ToText(const ordered_json& json) {
  return WithoutControls(json.dump(-1, ' ', false, ordered_json::error_handler_t::replace));
}

std::string ToIndentedText(const ordered_json& json) {
  return WithoutControls(json.dump(2, ' ', false, ordered_json::error_handler_t::replace)) + "\n";
}

}  // namespace dirty_seg
