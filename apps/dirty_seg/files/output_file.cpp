#include "files/output_file.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include "base/errors.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kMode = 0666;  // less the user's umask

[[noreturn]] void Reject(const std::string& path, const std::string& cause) {
  throw OutputError(fmt::format("'{}' cannot be written: {}", path, cause));
}

bool IsSpecial(const std::string& path) {
  std::error_code ignored;
  const fs::file_status status = fs::status(path, ignored);
  return fs::exists(status) && !fs::is_regular_file(status);
}

}  // namespace

OutputFile::OutputFile(const std::string& path, int flags, std::string shown)
    : descriptor_(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, kMode)),
      shown_(std::move(shown)) {
  if (descriptor_ < 0) Fail(errno);
}

OutputFile::~OutputFile() { close(descriptor_); }

bool OutputFile::Lock() const {
  return flock(descriptor_, LOCK_EX | LOCK_NB) == 0 || errno != EWOULDBLOCK;
}

bool OutputFile::IsAt(const std::string& path) const {
  struct stat own {};
  struct stat other {};
  return fstat(descriptor_, &own) == 0 && lstat(path.c_str(), &other) == 0 &&
         own.st_dev == other.st_dev && own.st_ino == other.st_ino;
}

void OutputFile::CutTo(std::int64_t bytes) {
  if (ftruncate(descriptor_, bytes) != 0 || lseek(descriptor_, bytes, SEEK_SET) < 0) Fail(errno);
}

void OutputFile::Write(std::string_view bytes) {
  const off_t before = lseek(descriptor_, 0, SEEK_CUR);
  while (!bytes.empty()) {
    const ssize_t count = write(descriptor_, bytes.data(), bytes.size());
    if (count >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(count));
    } else if (errno != EINTR) {
      const int error = errno;
      // A device cannot be truncated.
      if (before >= 0 && ftruncate(descriptor_, before) == 0) lseek(descriptor_, before, SEEK_SET);
      Fail(error);
    }
  }
}

// The file itself stays open, and locked.
void OutputFile::Finish() {
  const int other = dup(descriptor_);
  if (other < 0 || close(other) != 0) Fail(errno);
}

void OutputFile::Fail(int error) const {
  Reject(shown_, error == ELOOP ? "it is a symbolic link; expected a file" : std::strerror(error));
}

WholeFile::WholeFile(const std::string& path, const std::string& part)
    : path_(path), part_(part), is_aside_(!IsSpecial(path)) {
  if (!is_aside_) {
    part_ = path;
    file_.emplace(path, 0);
    return;
  }
  // Another process may rename the file between opening and locking it.
  do {
    file_.emplace(part_, O_NOFOLLOW, path);
    if (!file_->Lock()) Reject(path, "another process is writing it");
  } while (!file_->IsAt(part_));
  file_->CutTo(0);
}

WholeFile::~WholeFile() {
  if (is_aside_) unlink(part_.c_str());
}

// Locked until it is renamed, so that no other process uses it before.
void WholeFile::Keep() {
  file_->Finish();
  if (is_aside_ && std::rename(part_.c_str(), path_.c_str()) != 0) {
    Reject(path_, std::strerror(errno));
  }
  is_aside_ = false;
  file_.reset();
}

void WriteWholeFile(const std::string& path, std::string_view bytes) {
  WholeFile file(path);
  file.Write(bytes);
  file.Keep();
}

void RefuseToReplace(const std::string& path, const char* otherwise) {
  std::error_code error;
  if (fs::exists(path, error)) {
    throw SetupError(
        fmt::format("'{}' already exists; --overwrite replaces it{}", path, otherwise));
  }
}

}  // namespace dirty_seg
