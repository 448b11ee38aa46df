// What a network file is, and in which role it can be used.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "engine/network_reader.h"
#include "network/onnx_description.h"
#include "network/segmentation_head.h"

namespace dirty_seg {

/// Whether a network can be used in a role, by the checks that a run makes.
struct Suitability {
  /// Empty, or why it cannot.
  std::string fault;
  /// The configuration that the detector then gets.
  nuvik::alg::common::AIEngineConfig config;

  bool fits() const { return fault.empty(); }
};

struct NetworkReport {
  std::string path;
  nuvik::alg::common::OnnxDescription description;
  /// Class id to name, from the metadata.
  std::map<std::int32_t, std::string> class_names;
  /// As `Network` has it.
  bool takes_any_batch = false;
  /// Empty, or why the engine cannot read the file at all.
  std::string fault;
  Suitability segmentation;
  /// Of a segmentation network.
  std::optional<nuvik::model::SegmentationHead> head;
  Suitability classifier;

  /// The configuration for the role it fits; without one, as the engine reads it. Null if the
  /// engine cannot.
  const nuvik::alg::common::AIEngineConfig* config() const;
  /// "segmentation network", "classifier" or "neither ... nor ...".
  std::string Role() const;

  /// As the engine reads it, whatever the role.
  nuvik::alg::common::AIEngineConfig plain_config;
};

/// Reads the file, and tries it in both roles, a run on zeros included. A network that takes any
/// batch gets `batch` slots; `threads` goes into the configuration. Problems with the network are
/// in the report; those that another batch may mend name `batch_option`, which gives it. Prints
/// nothing.
NetworkReport InspectNetwork(const std::string& path, std::size_t batch, int threads,
                             const std::string& batch_option = "--batch");

/// As text, about a screenful.
std::string ReportText(const NetworkReport& report);

nlohmann::ordered_json ReportJson(const NetworkReport& report);

}  // namespace dirty_seg
