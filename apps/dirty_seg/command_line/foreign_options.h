// Options that programs of this kind often have, and where the same is set here.
#pragma once

#include <string>

namespace dirty_seg {

/// A sentence on `option`, given as "--conf", "--conf=0.5" or "conf"; empty for one that is not
/// known.
std::string PlaceOfForeignOption(const std::string& option);

}  // namespace dirty_seg
