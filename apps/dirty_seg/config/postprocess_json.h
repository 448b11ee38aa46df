// The decoder's options as JSON.
#pragma once

#include <nlohmann/json_fwd.hpp>

#include "network/postprocess_options.h"

namespace dirty_seg {

/// Every key with the value in force, in the order of PostprocessKeys(); without `classes` where
/// every class is looked for.
nlohmann::ordered_json PostprocessToJson(const nuvik::model::PostprocessOptions& options);

}  // namespace dirty_seg
