// Why a file could not be opened, for messages.
#pragma once

#include <string>

namespace dirty_seg {

/// "cannot be opened: Permission denied", by the `errno` that opening the file left behind. Set it
/// to 0 before: a stream may fail without a cause, which is told as a file that is not there.
std::string OpenFailure(int error);

}  // namespace dirty_seg
