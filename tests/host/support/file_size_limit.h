// What a full disk does to a file, as far as a program sees.
#pragma once

#include <sys/resource.h>

#include <csignal>

namespace dirty_seg::test {

/// For its lifetime, no file of this process and those that it starts grows beyond `bytes`.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*handler_)(int);
  rlimit before_{};
};

}  // namespace dirty_seg::test
