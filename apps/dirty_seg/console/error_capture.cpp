#include "console/error_capture.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>
#include <string_view>
#include <vector>

#include "base/errors.h"
#include "base/text.h"
#include "console/messages.h"

namespace dirty_seg {
namespace {

std::string ReadAll(int file) {
  std::string text;
  std::array<char, 4096> piece{};
  ssize_t length = 0;
  while ((length = pread(file, piece.data(), piece.size(), static_cast<off_t>(text.size()))) > 0) {
    text.append(piece.data(), static_cast<std::size_t>(length));
  }
  return text;
}

}  // namespace

ErrorCapture::ErrorCapture() {
  std::fflush(stderr);
  real_ = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  const bool is_usable = real_ >= 0 || errno == EBADF;
  const int memory = memfd_create("dirty_seg errors", MFD_CLOEXEC);
  if (!is_usable || memory < 0 || dup2(memory, STDERR_FILENO) < 0) {
    throw SetupError(std::string("standard error cannot be used: ") + std::strerror(errno));
  }
  if (memory != STDERR_FILENO) close(memory);
}

ErrorCapture::~ErrorCapture() {
  std::fflush(stderr);
  if (real_ < 0) {
    close(STDERR_FILENO);  // as it was
    return;
  }
  dup2(real_, STDERR_FILENO);
  close(real_);
}

std::string ErrorCapture::Text() const {
  std::fflush(stderr);
  std::istringstream lines(ReadAll(STDERR_FILENO));
  std::vector<std::string> texts;
  for (std::string line; std::getline(lines, line);) {
    if (line.compare(0, kEngineSpeaker.size(), kEngineSpeaker) == 0) {
      line.erase(0, kEngineSpeaker.size());
    }
    if (!line.empty()) texts.push_back(line);
  }
  return Join(texts, "; ");
}

}  // namespace dirty_seg
