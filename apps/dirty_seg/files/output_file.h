// Files that never stay half written.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace dirty_seg {

/// A file that grows by whole pieces. Open until the object's end; no child process gets it.
class OutputFile {
 public:
  /// Opens the file for writing and makes it where there is none; `flags` are further ones of
  /// open(). Messages call it by its path, or `shown`. Throws OutputError with the cause.
  OutputFile(const std::string& path, int flags) : OutputFile(path, flags, path) {}
  OutputFile(const std::string& path, int flags, std::string shown);
  ~OutputFile();
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;

  /// Returns whether no other process has locked the file. The lock ends with the object, and with
  /// the process however that ends; where a file system has no locks, there is none.
  bool Lock() const;

  /// Whether `path` still leads to this file.
  bool IsAt(const std::string& path) const;

  /// Each throws OutputError with the cause.
  void MakeEmpty();
  /// All of `bytes` or, where they cannot all be written, none of them.
  void Write(std::string_view bytes);
  /// Waits for what some file systems tell of a failure only when a file is closed.
  void Finish();

 private:
  [[noreturn]] void Fail(int error) const;

  int descriptor_;
  std::string shown_;
};

/// A file that is there whole or not at all: written under another name beside its own, which it
/// then takes. A device or pipe of that name is written to as it is.
class WholeFile {
 public:
  /// Writes `path` with ".part" behind it first, or `part`. Throws OutputError with the cause, also
  /// where another process is at it.
  explicit WholeFile(const std::string& path) : WholeFile(path, path + ".part") {}
  WholeFile(const std::string& path, const std::string& part);
  /// Removes the file unless it was kept.
  ~WholeFile();
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  /// What is to be written to, for one that does not use Write.
  const std::string& part() const { return part_; }

  /// Each throws OutputError with the cause.
  void Write(std::string_view bytes) { file_->Write(bytes); }
  /// Gives the file its name, in the place of one that is there. Nothing is written after that.
  void Keep();

 private:
  std::string path_;
  std::string part_;
  bool is_aside_;
  std::optional<OutputFile> file_;
};

/// Throws OutputError with the cause.
void WriteWholeFile(const std::string& path, std::string_view bytes);

/// Throws SetupError where `path` is there. `otherwise` goes behind the hint at --overwrite.
void RefuseToReplace(const std::string& path, const char* otherwise = "");

}  // namespace dirty_seg
