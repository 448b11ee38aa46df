// Inputs named on the command line: pictures, videos and cameras.
#pragma once

#include <cstddef>
#include <deque>
#include <istream>
#include <opencv2/core.hpp>
#include <optional>
#include <string>
#include <vector>

namespace dirty_seg {

enum class InputKind {
  kPicture,
  kVideo,
  kCamera,
  kList,  // only within InputQueue
};

/// One picture, video or camera to read, or an argument that names none.
struct Input {
  std::string path;
  /// Empty, or why it cannot be read.
  std::string failure;
  InputKind kind = InputKind::kPicture;
};

struct InputOptions {
  /// Include subfolders of folders.
  bool recursive = false;
  /// Include the videos in folders.
  bool videos = false;
  /// A results folder, which is skipped inside other folders; may be empty.
  std::string output_folder;
};

/// A camera is named /dev/video0 or camera:0, a video by its extension; anything else is a picture.
InputKind KindOf(const std::string& path);

/// Replaces each folder by its pictures, sorted by path, and each pattern that is not the name of a
/// file, such as frames/*.png, by its matches. Other files in a folder are skipped, and so is what
/// an earlier run wrote: next to a results.jsonl, files with names that a run uses. Keeps the order
/// of `arguments`. A file that is named itself is taken whatever its name.
std::vector<Input> ExpandInputs(const std::vector<std::string>& arguments,
                                const InputOptions& options = {});

/// The inputs one after another. The argument "-" means a list on a stream, one argument per
/// line. Each line is read when it is needed, so that another program can write them while this one
/// works. Lines may end in "\r\n".
class InputQueue {
 public:
  /// `list` outlives this object.
  InputQueue(const std::vector<std::string>& arguments, InputOptions options, std::istream& list);

  /// Nothing after the last, and once an Interruption ended the reading of a list.
  std::optional<Input> Next();

  /// Total number, including those already returned; nothing until a list has been read to its end.
  std::optional<std::size_t> Count() const;

  /// Number of inputs left, if it is known and all are pictures, of one frame each.
  std::optional<std::size_t> PicturesLeft() const;

 private:
  void ReadListLine();

  InputOptions options_;
  std::istream& list_;
  std::deque<Input> ready_;
  std::size_t given_ = 0;
};

/// Throws InputError with the cause if the file cannot be opened, or is a named pipe, a socket or a
/// device; these are not opened, since that could block forever.
void RequireFile(const std::string& path);

/// A picture, and what its decoder complained of.
struct DecodedPicture {
  /// CV_8UC3 in B, G, R order, not empty.
  cv::Mat pixels;
  /// With the path; empty if there was nothing.
  std::string warning;
};

/// Reads a picture. Throws InputError with the cause, also for a JPEG file that is cut short.
DecodedPicture DecodePicture(const std::string& path);

/// The same; prints the warning.
cv::Mat ReadPicture(const std::string& path);

}  // namespace dirty_seg
