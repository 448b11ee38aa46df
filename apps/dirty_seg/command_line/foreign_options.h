// Options that programs of this kind often have, and where the same is set here.
#pragma once

#include <string>
#include <vector>

namespace dirty_seg {

/// Where to set what `option` means, given as "--conf-thres", "--conf-thres=0.5" or "conf-thres";
/// empty for an unknown one. `flags` are those of the command, with dashes.
std::string HintForForeignOption(const std::string& option, const std::vector<std::string>& flags);

}  // namespace dirty_seg
