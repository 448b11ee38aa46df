// The decoder's options as a run takes them.
#pragma once

#include <yaml-cpp/yaml.h>

#include "network/postprocess_options.h"

namespace nuvik::model {

/// Reads the `postprocess` mapping from the file's root. An unknown key is told on standard error
/// and left alone. Throws std::invalid_argument for the first value that is not permitted, naming
/// the key, its line, the value and the permitted range; nothing is told then.
PostprocessOptions ReadRunOptions(const YAML::Node& root);

}  // namespace nuvik::model
