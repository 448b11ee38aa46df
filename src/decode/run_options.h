// The decoder's options as a run takes them.
#pragma once

#include <yaml-cpp/yaml.h>

#include <vector>

#include "network/postprocess_options.h"

namespace nuvik::model {

/// Reads the `postprocess` mapping from the file's root. An unknown key is reported on standard
/// error and ignored. Throws std::invalid_argument for the first value that is not permitted,
/// naming the key, its line, the value and the permitted range; nothing is reported then.
PostprocessOptions ReadRunOptions(const YAML::Node& root);

/// What a candidate's score must be greater than, for each of the network's `classes`: infinity for
/// a class that is not looked for.
std::vector<float> ClassThresholds(const PostprocessOptions& options, int classes);

}  // namespace nuvik::model
