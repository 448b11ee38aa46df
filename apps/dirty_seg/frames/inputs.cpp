#include "frames/inputs.h"

#include <fmt/format.h>
#include <glob.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string_view>
#include <system_error>
#include <utility>

#include "base/errors.h"
#include "base/text.h"
#include "console/error_capture.h"
#include "console/interruption.h"
#include "console/messages.h"
#include "files/open_failure.h"
#include "files/result_names.h"
#include "media/media.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 10> kPictures{".jpg",  ".jpeg", ".png", ".bmp", ".tif",
                                                ".tiff", ".webp", ".ppm", ".pgm", ".jp2"};
constexpr std::array<const char*, 10> kVideos{".mp4", ".avi",  ".mkv", ".mov", ".webm",
                                              ".m4v", ".mpeg", ".mpg", ".wmv", ".mjpeg"};
// The JPEG library's message for a file that is cut short, which it fills with grey.
constexpr const char* kCutShort = "Premature end of JPEG file";
constexpr const char* kDevice = "/dev/video";
constexpr const char* kCamera = "camera:";

template <typename Extensions>
bool HasOneOf(const Extensions& extensions, const fs::path& path) {
  const std::string extension = Lower(path.extension().string());
  return std::find(extensions.begin(), extensions.end(), extension) != extensions.end();
}

bool IsSameFolder(const fs::path& path, const std::string& other) {
  std::error_code error;
  return !other.empty() && fs::equivalent(path, other, error) && !error;
}

// Collects what a folder holds.
class FolderScan {
 public:
  explicit FolderScan(const InputOptions& options) : options_(options) {}

  // Adds the folder, and its subfolders if wanted.
  void Add(const fs::path& folder) {
    folders_.push_back(folder);
    while (!folders_.empty()) {
      const fs::path next = std::move(folders_.back());
      folders_.pop_back();
      if (const std::error_code error = AddOne(next); error) {
        failures_.push_back({next.string(), "the folder cannot be read: " + error.message()});
      }
    }
  }

  const std::vector<Input>& failures() const { return failures_; }

  std::vector<std::string> TakePaths() && {
    std::sort(paths_.begin(), paths_.end());
    return std::move(paths_);
  }

  std::string Expected() const {
    std::string pictures = fmt::format("*{}", fmt::join(kPictures, " *"));
    if (!options_.videos) return pictures;
    return fmt::format("{} *{}", pictures, fmt::join(kVideos, " *"));
  }

 private:
  // A link could lead back to a folder above it.
  bool IsToBeEntered(const fs::directory_entry& folder) const {
    std::error_code ignored;
    return options_.recursive && !folder.is_symlink(ignored) &&
           !IsSameFolder(folder.path(), options_.output_folder);
  }

  bool IsTaken(const fs::path& path) const {
    return HasOneOf(kPictures, path) || (options_.videos && HasOneOf(kVideos, path));
  }

  std::error_code AddOne(const fs::path& folder) {
    std::error_code error;
    const bool has_results = fs::exists(folder / kResultsFile, error);
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end;
         entry.increment(error)) {
      std::error_code ignored;
      if (entry->is_directory(ignored)) {
        if (IsToBeEntered(*entry)) folders_.push_back(entry->path());
      } else if (IsTaken(entry->path()) && entry->is_regular_file(ignored) &&
                 !(has_results && IsNameOfAResult(entry->path().filename().string()))) {
        paths_.push_back(entry->path().string());
      }
    }
    return error;
  }

  const InputOptions& options_;
  std::vector<fs::path> folders_;  // still to be looked at
  std::vector<std::string> paths_;
  std::vector<Input> failures_;
};

void AppendFolder(const std::string& folder, const InputOptions& options,
                  std::vector<Input>& inputs) {
  FolderScan scan(options);
  scan.Add(folder);
  inputs.insert(inputs.end(), scan.failures().begin(), scan.failures().end());
  const bool is_readable = scan.failures().empty();
  const std::string expected = scan.Expected();
  std::vector<std::string> paths = std::move(scan).TakePaths();
  if (is_readable && paths.empty()) {
    const char* const wanted = options.videos ? "picture or video" : "picture";
    inputs.push_back(
        {folder, fmt::format("the folder has no {}; expected files named {}", wanted, expected)});
  }
  for (std::string& path : paths) {
    const InputKind kind = KindOf(path);
    inputs.push_back({std::move(path), "", kind});
  }
}

void Append(const std::string& argument, const InputOptions& options, std::vector<Input>& inputs) {
  std::error_code error;
  if (fs::is_directory(argument, error)) {
    AppendFolder(argument, options, inputs);
  } else {
    inputs.push_back({argument, "", KindOf(argument)});
  }
}

bool IsPattern(const std::string& argument) {
  std::error_code error;
  return argument.find_first_of("*?[") != std::string::npos && !fs::exists(argument, error);
}

void AppendMatches(const std::string& pattern, const InputOptions& options,
                   std::vector<Input>& inputs) {
  glob_t matches{};
  if (glob(pattern.c_str(), 0, nullptr, &matches) == 0) {
    for (std::size_t i = 0; i < matches.gl_pathc; ++i) {
      Append(matches.gl_pathv[i], options, inputs);
    }
  } else {
    inputs.push_back({pattern, "no file matches the pattern"});
  }
  globfree(&matches);
}

// Lists that were made under Windows begin with a byte order mark and end lines with "\r\n".
std::string WithoutMarks(std::string line) {
  constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";
  if (line.compare(0, kByteOrderMark.size(), kByteOrderMark) == 0) {
    line.erase(0, kByteOrderMark.size());
  }
  if (!line.empty() && line.back() == '\r') line.pop_back();
  return line;
}

// Decoders print messages without naming the picture.
cv::Mat Decode(const std::string& path, std::string& said) {
  const Media& media = LoadMedia();
  const ErrorCapture errors;
  try {
    cv::Mat picture = media.ReadPicture(path);
    said = errors.Text();
    return picture;
  } catch (const cv::Exception& exception) {
    throw InputError("cannot be read as a picture: " + exception.err);
  }
}

}  // namespace

InputKind KindOf(const std::string& path) {
  if (path.rfind(kDevice, 0) == 0 || path.rfind(kCamera, 0) == 0) return InputKind::kCamera;
  return HasOneOf(kVideos, path) ? InputKind::kVideo : InputKind::kPicture;
}

std::vector<Input> ExpandInputs(const std::vector<std::string>& arguments,
                                const InputOptions& options) {
  std::vector<Input> inputs;
  for (const std::string& argument : arguments) {
    if (IsPattern(argument)) {
      AppendMatches(argument, options, inputs);
    } else {
      Append(argument, options, inputs);
    }
  }
  return inputs;
}

InputQueue::InputQueue(const std::vector<std::string>& arguments, InputOptions options,
                       std::istream& list)
    : options_(std::move(options)), list_(list) {
  // All folders are read before a result is written, which may be into one of them.
  for (const std::string& argument : arguments) {
    if (argument == "-") {
      ready_.push_back({argument, "", InputKind::kList});
      continue;
    }
    for (Input& input : ExpandInputs({argument}, options_)) ready_.push_back(std::move(input));
  }
}

std::optional<Input> InputQueue::Next() {
  while (!ready_.empty() && ready_.front().kind == InputKind::kList) {
    ReadListLine();
    if (Interruption::Happened()) return std::nullopt;
  }
  if (ready_.empty()) return std::nullopt;
  Input input = std::move(ready_.front());
  ready_.pop_front();
  ++given_;
  return input;
}

// Puts the inputs of the next line before the list, or removes the list at its end. An interrupted
// list may have more lines.
void InputQueue::ReadListLine() {
  std::string line;
  if (!std::getline(list_, line)) {
    if (!Interruption::Happened()) ready_.pop_front();
  } else if (line.find('\0') != std::string::npos) {
    ready_.push_front({line.substr(0, line.find('\0')),
                       "a zero byte follows in the list; expected one path per line"});
  } else if (line = WithoutMarks(line); !line.empty()) {
    std::vector<Input> inputs = ExpandInputs({line}, options_);
    ready_.insert(ready_.begin(), std::make_move_iterator(inputs.begin()),
                  std::make_move_iterator(inputs.end()));
  }
}

std::optional<std::size_t> InputQueue::Count() const {
  const bool has_list = std::any_of(ready_.begin(), ready_.end(), [](const Input& input) {
    return input.kind == InputKind::kList;
  });
  return has_list ? std::nullopt : std::optional(given_ + ready_.size());
}

std::optional<std::size_t> InputQueue::PicturesLeft() const {
  const bool all_pictures = std::all_of(ready_.begin(), ready_.end(), [](const Input& input) {
    return input.kind == InputKind::kPicture;
  });
  return all_pictures ? std::optional(ready_.size()) : std::nullopt;
}

void RequireFile(const std::string& path) {
  std::error_code ignored;
  switch (fs::status(path, ignored).type()) {
    case fs::file_type::fifo:
      throw InputError("is a named pipe; expected a file");
    case fs::file_type::socket:
      throw InputError("is a socket; expected a file");
    case fs::file_type::block:
    case fs::file_type::character:
      throw InputError("is a device; expected a file, or a camera as /dev/video0");
    default:
      break;
  }
  errno = 0;
  if (std::ifstream(path, std::ios::binary).is_open()) return;
  throw InputError(OpenFailure(errno));
}

DecodedPicture DecodePicture(const std::string& path) {
  RequireFile(path);
  std::string said;
  cv::Mat picture = Decode(path, said);
  const std::string cause = said.empty() ? "" : ": " + said;
  if (picture.empty()) throw InputError("is not a picture that can be read" + cause);
  if (said.find(kCutShort) != std::string::npos) throw InputError("is cut short" + cause);
  return {std::move(picture), said.empty() ? "" : fmt::format("'{}': {}", path, said)};
}

cv::Mat ReadPicture(const std::string& path) {
  DecodedPicture picture = DecodePicture(path);
  if (!picture.warning.empty()) PrintWarning(picture.warning);
  return std::move(picture.pixels);
}

}  // namespace dirty_seg
