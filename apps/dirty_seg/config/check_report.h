// What a check of a configuration file found, for programs.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string>

#include "config/config_check.h"

namespace dirty_seg {

/// The findings in their order, the patches and how each fills the network's square, and what of
/// the frame they cover. `path` is that of the file.
nlohmann::ordered_json ToJson(const std::string& path, const ConfigCheck& check);

}  // namespace dirty_seg
