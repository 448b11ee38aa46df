// Files that are never left half written.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace dirty_seg {

/// A file that is appended to in whole pieces. Open until destruction; child processes do not
/// inherit it.
class OutputFile {
 public:
  /// Opens the file for writing and creates it if it does not exist; `flags` are further flags for
  /// open(). Messages name it by its path, or `shown`. Throws OutputError with the cause.
  OutputFile(const std::string& path, int flags) : OutputFile(path, flags, path) {}
  OutputFile(const std::string& path, int flags, std::string shown);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Returns whether no other process has locked the file. The lock ends with the object, and with
  /// the process however that ends; on a file system without locks, there is none.
  bool Lock() const;

  /// Whether `path` is still the path of this file.
  bool IsAt(const std::string& path) const;

  /// Each throws OutputError with the cause.
  /// Keeps the first `bytes`; what is written next follows them.
  void CutTo(std::int64_t bytes);
  /// All of `bytes` or, where they cannot all be written, none of them.
  void Write(std::string_view bytes);
  /// Reports errors that some file systems report only when a file is closed.
  void Finish();

 private:
  [[noreturn]] void Fail(int error) const;

  int descriptor_;
  std::string shown_;
};

/// A file that is written completely or not at all: under a temporary name in the same folder, and
/// renamed when complete. A device or pipe is written to directly.
class WholeFile {
 public:
  /// The temporary name is `path` with ".part" appended, or `part`. Throws OutputError with the
  /// cause, also if another process is writing it.
  explicit WholeFile(const std::string& path) : WholeFile(path, path + ".part") {}
  WholeFile(const std::string& path, const std::string& part);
  /// Removes the file unless it was kept.
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  /// The path to write to, for libraries that do not use Write.
  const std::string& part() const { return part_; }

  /// Each throws OutputError with the cause.
  void Write(std::string_view bytes) { file_->Write(bytes); }
  /// Renames the file to `path`, replacing an existing one. Nothing is written after that.
  void Keep();

 private:
  std::string path_;
  std::string part_;
  bool is_aside_;
  std::optional<OutputFile> file_;
};

/// Throws OutputError with the cause.
void WriteWholeFile(const std::string& path, std::string_view bytes);

/// Throws SetupError if `path` exists. `otherwise` is appended to the hint about --overwrite.
void RefuseToReplace(const std::string& path, const char* otherwise = "");

}  // namespace dirty_seg
