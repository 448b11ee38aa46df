// The decoder's options as a run takes them.
#pragma once

#include <yaml-cpp/yaml.h>

#include "network/postprocess_options.h"

namespace nuvik::model {

/// Reads the `postprocess` mapping from the file's root. An unknown key is reported on standard
/// error and ignored. Throws std::invalid_argument for the first value that is not permitted,
/// naming the key, its line, the value and the permitted range; nothing is reported then.
PostprocessOptions ReadRunOptions(const YAML::Node& root);

}  // namespace nuvik::model
