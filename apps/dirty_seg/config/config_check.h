// Checks a configuration file before a frame is processed.
#pragma once

#include <yaml-cpp/yaml.h>

#include <optional>
#include <string>
#include <vector>

#include "config/patch_coverage.h"
#include "config/patches.h"
#include "network/postprocess_options.h"

namespace dirty_seg {

/// A class id that the file mentions below `postprocess`.
struct ListedClass {
  int id = 0;
  int line = 0;
  std::string key;  // "postprocess.classes[0]"
};

struct ConfigCheck {
  /// By line; the file as a whole first.
  std::vector<FileProblem> findings;
  /// The valid ones.
  std::vector<ListedPatch> patches;
  Coverage coverage;
  int side = 0;  // of the network's input; 0 before CheckFit
  /// What the file says of decoding; the default for what is not permitted.
  nuvik::model::PostprocessOptions postprocess;
  std::vector<ListedClass> classes;

  std::size_t Count(FileProblem::Kind kind) const;
};

/// The patch, clipped to the frame.
cv::Rect Clipped(const ListedPatch& patch);

/// Checks everything that needs no network. Errors: keys and values that have no effect or that the
/// detector would refuse or fail on. Warnings: gaps, patches that overlap too much. Throws
/// SetupError for a file that cannot be opened or is not YAML.
ConfigCheck CheckConfig(const std::string& path);

/// The same for the root of a configuration that was read already.
ConfigCheck CheckConfig(const YAML::Node& root);

/// Checks how the patches fit the network's square input of `side` pixels. Error: a patch of which
/// nothing is left. Warnings: patches that are clipped, come out short of the square, or waste it.
/// A fixed `batch` limits the number of patches: if they cover the whole frame, there is no warning
/// about waste that no grid of so many patches could avoid.
void CheckFit(int side, std::optional<int> batch, ConfigCheck& check);

/// Warns of class ids that a network of so many classes does not have.
void CheckClasses(int classes, ConfigCheck& check);

/// Throws SetupError if there are errors, naming file, line and what would be right. If there are
/// several, each is printed first, on a line of its own.
void RefuseErrors(const std::string& path, const ConfigCheck& check);

/// One line per finding, "PATH:3: error: TEXT", and a summary line.
std::string CheckText(const std::string& path, const ConfigCheck& check);

}  // namespace dirty_seg
