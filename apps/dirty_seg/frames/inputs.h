// What the command line names, as pictures, videos and cameras.
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
  kList,  // within InputQueue alone
};

/// One picture, video or camera to read, or an argument that leads to none.
struct Input {
  std::string path;
  /// Empty, or why there is nothing to read.
  std::string failure;
  InputKind kind = InputKind::kPicture;
};

struct InputOptions {
  /// Folders within folders too.
  bool recursive = false;
  /// Folders give their videos too.
  bool videos = false;
  /// A folder of results, passed over wherever it is met inside another one; may be empty.
  std::string output_folder;
};

/// A camera is named /dev/video0 or camera:0, a video by its extension; anything else is a picture.
InputKind KindOf(const std::string& path);

/// Replaces each folder by its pictures, sorted by path, and each pattern that is no file's name,
/// as frames/*.png, by what it matches. Files of other kinds are passed over in a folder; so is
/// what an earlier run wrote: beside a results.jsonl, files with the names that it gives its own.
/// The order of `arguments` stays. A file named by itself is taken whatever its name.
std::vector<Input> ExpandInputs(const std::vector<std::string>& arguments,
                                const InputOptions& options = {});

/// The inputs one after another. The argument "-" stands for a list, one argument a line, of which
/// a line is read when its turn comes, so that another program can write them while this one works.
/// A line's end may be "\r\n".
class InputQueue {
 public:
  /// `list` outlives this object.
  InputQueue(const std::vector<std::string>& arguments, InputOptions options, std::istream& list);

  /// Nothing after the last, and once an Interruption ended the reading of a list.
  std::optional<Input> Next();

  /// All of them, those that were given out included; nothing while a list is not read to its end.
  std::optional<std::size_t> Count() const;

  /// What is still to come, where it is known and pictures alone: each is one frame.
  std::optional<std::size_t> PicturesLeft() const;

 private:
  void ReadListLine();

  InputOptions options_;
  std::istream& list_;
  std::deque<Input> ready_;
  std::size_t given_ = 0;
};

/// Throws InputError with the cause where the file cannot be opened, and for a named pipe, a socket
/// or a device, without opening it: that could wait forever.
void RequireFile(const std::string& path);

/// Reads a picture as CV_8UC3 in B, G, R order. Throws InputError with the cause, also for a JPEG
/// file that is cut short. What else its decoder complains of is a warning with the path.
cv::Mat ReadPicture(const std::string& path);

}  // namespace dirty_seg
