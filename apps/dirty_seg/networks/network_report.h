// What a network file is and what it can serve as here.
#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>

#include "engine/network_reader.h"
#include "network/segmentation_head.h"
#include "networks/onnx_description.h"

namespace dirty_seg {

/// Whether a network can serve in a role, by the checks that a run makes.
struct Suitability {
  /// Empty, or why it cannot.
  std::string fault;
  /// What the detector's configuration is then given.
  nuvik::alg::common::AIEngineConfig config;

  bool fits() const { return fault.empty(); }
};

struct NetworkReport {
  std::string path;
  OnnxDescription description;
  /// Class id to name, from the metadata.
  std::map<std::int32_t, std::string> class_names;
  /// Empty, or why the engine cannot read the file at all.
  std::string fault;
  Suitability segmentation;
  /// Of a segmentation network.
  std::optional<nuvik::model::SegmentationHead> head;
  Suitability classifier;

  /// That of the role it fits; without one, what the engine reads. Null where that is nothing.
  const nuvik::alg::common::AIEngineConfig* config() const;
  /// "segmentation network", "classifier" or "neither ... nor ...".
  std::string Role() const;

  /// As the engine reads it, whatever the role.
  nuvik::alg::common::AIEngineConfig plain_config;
};

/// Reads the file, and tries it in both roles, a run on zeros included. A batch that the file
/// leaves open takes `batch`; `threads` goes into the configuration. What is wrong with the network
/// stands in the report. Writes nothing.
NetworkReport InspectNetwork(const std::string& path, std::size_t batch, int threads);

/// For people: a screenful.
std::string ReportText(const NetworkReport& report);

nlohmann::ordered_json ReportJson(const NetworkReport& report);

}  // namespace dirty_seg
