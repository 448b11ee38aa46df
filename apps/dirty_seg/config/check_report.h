// Result of a configuration check as JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "config/config_check.h"

namespace dirty_seg {

/// The findings in their order, the patches and how each fills the network's square, and how much
/// of the frame they cover. `path` is the path of the file.
nlohmann::ordered_json ToJson(const std::string& path, const ConfigCheck& check);

}  // namespace dirty_seg
