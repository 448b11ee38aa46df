// What the program and its media library know of each other.
#pragma once

#include "media/media.h"

namespace dirty_seg {

inline constexpr const char* kMediaLibrary = "libdirty_seg_media.so";

/// The library's one exported function. `version` is the program's; returns nothing if it is not
/// the library's own, as the two share classes.
using MediaEntry = const Media*(const char* version);
inline constexpr const char* kMediaEntry = "DirtySegMedia";

}  // namespace dirty_seg
