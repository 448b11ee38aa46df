// Options that programs of this kind often have, and where the same is set here.
#pragma once

#include <string>

namespace dirty_seg {

/// Where to set what `option` means, given as "--conf", "--conf=0.5" or "conf"; empty for an
/// unknown one.
std::string HintForForeignOption(const std::string& option);

}  // namespace dirty_seg
