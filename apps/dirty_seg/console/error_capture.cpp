#include "console/error_capture.h"

#include <sys/types.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <ext/stdio_sync_filebuf.h>
#include <iostream>
#include <sstream>

#include "base/errors.h"
#include "console/engine_text.h"

namespace dirty_seg {
namespace {

thread_local ErrorCapture* capture_of_thread = nullptr;

// Returns whether all of it was written.
bool WriteThrough(const char* bytes, std::size_t size) {
  while (size > 0) {
    const ssize_t written = write(STDERR_FILENO, bytes, size);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes += written;
    size -= static_cast<std::size_t>(written);
  }
  return true;
}

}  // namespace

// What `stderr` is once it tells threads apart.
struct ErrorStream {
  // As a C stream calls it: returns the number of bytes taken, 0 for an error.
  static ssize_t Write(void* /*cookie*/, const char* bytes, std::size_t size) noexcept {
    if (capture_of_thread == nullptr) {
      return WriteThrough(bytes, size) ? static_cast<ssize_t>(size) : 0;
    }
    try {
      capture_of_thread->text_.append(bytes, size);
    } catch (const std::exception&) {
      return 0;
    }
    return static_cast<ssize_t>(size);
  }

  // The streams of C and C++ are variables of the GNU C library's and replaceable buffers, made for
  // this. What is put there stays until the process ends.
  ErrorStream() {
    std::FILE* const stream = fopencookie(nullptr, "w", {nullptr, &Write, nullptr, nullptr});
    if (stream == nullptr) throw SetupError("standard error cannot be captured: out of memory");
    std::setvbuf(stream, nullptr, _IONBF, 0);
    std::fflush(stderr);
    stderr = stream;
    // Never destroyed: the library flushes its streams after all else.
    auto* const buffer = new __gnu_cxx::stdio_sync_filebuf<char>(stream);
    std::cerr.rdbuf(buffer);
    std::clog.rdbuf(buffer);
  }
};

void ErrorCapture::Prepare() { static const ErrorStream stream; }

ErrorCapture::ErrorCapture() {
  Prepare();
  capture_of_thread = this;
}

ErrorCapture::~ErrorCapture() { capture_of_thread = nullptr; }

std::vector<std::string> ErrorCapture::Lines() const {
  std::istringstream text(text_);
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) {
    if (!line.empty()) lines.push_back(line);
  }
  return lines;
}

std::string ErrorCapture::Text() const { return EngineText(Lines()); }

}  // namespace dirty_seg
