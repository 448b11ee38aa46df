#include "files/open_failure.h"

#include <cerrno>
#include <cstring>

namespace dirty_seg {

std::string OpenFailure(int error) {
  return std::string("cannot be opened: ") + std::strerror(error == 0 ? ENOENT : error);
}

}  // namespace dirty_seg
