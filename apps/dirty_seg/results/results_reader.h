// Reads back what `detect` wrote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "results/stored_frame.h"

namespace dirty_seg {

struct Results {
  /// Path of results.jsonl, and of its folder.
  std::string file;
  std::string folder;
  std::vector<StoredFrame> frames;
  /// The last line ends in the middle and is left out: its writer was killed, or is still running.
  bool ends_unfinished = false;
};

/// A file of results, read line by line.
class ResultsFile {
 public:
  /// The results.jsonl of a folder, or a file of such lines under any name. Throws SetupError with
  /// the cause.
  explicit ResultsFile(const std::string& path);

  const std::string& path() const { return path_; }

  /// The frame of the next line; nothing after the last, and where the last ends in the middle.
  /// Throws as ReadResults does.
  std::optional<StoredFrame> Next();

  /// Lines that were read.
  std::size_t line() const { return line_; }

  /// Bytes up to the end of the line that Next gave last.
  std::int64_t offset() const { return offset_; }

  /// As Results::ends_unfinished.
  bool ends_unfinished() const { return ends_unfinished_; }

 private:
  std::string path_;
  std::ifstream stream_;
  std::size_t line_ = 0;
  std::int64_t offset_ = 0;
  bool ends_unfinished_ = false;
};

/// Reads the results.jsonl of a folder, or a file of such lines under any name.
///
/// Lines as ReadStoredFrame takes them; empty ones are skipped. A last line that ends in the middle
/// is left out with a warning on standard error. Throws SetupError as ReadStoredFrame does, and for
/// a file that cannot be read. Throws InterruptedError.
Results ReadResults(const std::string& path);

}  // namespace dirty_seg
