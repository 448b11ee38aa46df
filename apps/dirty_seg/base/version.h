// Version of the program.
#pragma once

namespace dirty_seg {

/// "1.0.0".
const char* Version();

/// "dirty_seg 1.0.0".
const char* NameAndVersion();

}  // namespace dirty_seg
