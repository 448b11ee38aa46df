#include "networks/network_report.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <stdexcept>
#include <utility>

#include "base/errors.h"
#include "base/geometry_text.h"
#include "base/printable.h"
#include "base/text.h"
#include "console/error_capture.h"
#include "networks/config_code.h"
#include "networks/networks.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;
using nuvik::alg::common::AIEngine;
using nuvik::alg::common::AIEngineConfig;
using nuvik::alg::common::DeclaredTensor;
using nuvik::alg::common::Network;
using nuvik::alg::common::OnnxDescription;
using nuvik::alg::common::OpenDimensions;
using nuvik::alg::common::ReadNetwork;
using nuvik::model::ReadSegmentationHead;
using nuvik::model::SegmentationHead;

constexpr std::size_t kLabelWidth = 12;

// The report names the file once.
std::string WithoutPath(const std::string& path, const std::string& text) {
  const std::string prefix = fmt::format("'{}': ", path);
  return text.compare(0, prefix.size(), prefix) == 0 ? text.substr(prefix.size()) : text;
}

// Whether a declared dimension is a number.
bool IsNumber(const std::string& dimension) {
  return dimension.find_first_not_of("-0123456789") == std::string::npos;
}

// The message of what `call` throws, or of the engine if it printed one; empty if it does not
// throw.
template <typename Call>
std::string FaultOf(const std::string& path, const Call& call) {
  try {
    call();
    return "";
  } catch (const NetworkError& error) {
    return WithoutPath(path, error.cause());
  } catch (const std::runtime_error& error) {
    return WithoutPath(path, error.what());
  } catch (const std::invalid_argument& error) {
    return WithoutPath(path, error.what());
  }
}

bool HasOtherBatch(const AIEngineConfig& config, std::size_t batch) {
  return std::any_of(
      config.output_shapes.begin(), config.output_shapes.end(), [batch](const auto& output) {
        return !output.second.empty() && output.second[0] != static_cast<std::int64_t>(batch);
      });
}

// The size chosen for an open batch may be the only problem.
void AddBatchHint(const NetworkReport& report, std::size_t batch, const std::string& option,
                  std::string& fault) {
  const bool is_of_a_run = fault.rfind("fails in a trial run", 0) == 0;
  const bool is_of_the_batch =
      is_of_a_run || (!fault.empty() && HasOtherBatch(report.plain_config, batch));
  if (!is_of_the_batch || !HasOpenBatch(report.description)) return;
  fault +=
      fmt::format("; its batch is open, and this is with {}: try another with {}", batch, option);
}

// One run on zeros, as every start of the detector makes.
void TryRun(AIEngineConfig config) {
  config.thread_count = 1;
  AIEngine engine;
  const ErrorCapture errors;
  if (engine.Init(config) == 0) return;
  const std::string said = errors.Text();
  throw SetupError(said.empty() ? "the engine cannot run it" : said);
}

// "0 stain, 1 hair", and so with other pairs.
template <typename Map>
std::string PairsText(const Map& pairs) {
  return JoinEach(pairs,
                  [](const auto& pair) { return fmt::format("{} {}", pair.first, pair.second); });
}

std::string HeadText(const SegmentationHead& head, bool takes_any_batch) {
  return fmt::format("batch {}{}, input {}, {} {}, {} anchors, {} prototypes", head.batch,
                     takes_any_batch ? " (any number of patches)" : "",
                     SizeText({head.input_side, head.input_side}), head.classes,
                     head.classes == 1 ? "class" : "classes", head.anchors, head.coefficients);
}

void AddLine(const std::string& label, const std::string& text, std::string& lines) {
  if (text.empty()) return;
  lines += fmt::format("  {:<{}}{}\n", label, kLabelWidth, Printable(text));
}

void AddTensors(const char* label, const std::vector<DeclaredTensor>& tensors, std::string& lines) {
  for (const DeclaredTensor& tensor : tensors) {
    AddLine(label, fmt::format("'{}' {}", tensor.name, DeclarationText(tensor)), lines);
  }
}

// A number for a known dimension, text for an open one.
ordered_json ShapeJson(const std::vector<std::string>& shape) {
  ordered_json list = ordered_json::array();
  for (const std::string& dimension : shape) {
    list.push_back(IsNumber(dimension) ? ordered_json::parse(dimension, nullptr, false)
                                       : ordered_json(dimension));
  }
  return list;
}

ordered_json TensorsJson(const std::vector<DeclaredTensor>& tensors) {
  ordered_json list = ordered_json::array();
  for (const DeclaredTensor& tensor : tensors) {
    ordered_json entry{{"name", tensor.name}, {"type", tensor.type}};
    entry["shape"] = tensor.has_shape ? ShapeJson(tensor.shape) : ordered_json(nullptr);
    list.push_back(std::move(entry));
  }
  return list;
}

ordered_json SuitabilityJson(const Suitability& suitability) {
  ordered_json json{{"usable", suitability.fits()}};
  if (!suitability.fits()) json["reason"] = suitability.fault;
  return json;
}

ordered_json SegmentationJson(const NetworkReport& report) {
  ordered_json json = SuitabilityJson(report.segmentation);
  if (!report.segmentation.fits() || !report.head) return json;
  json["batch"] = report.head->batch;
  json["takes_any_batch"] = report.takes_any_batch;
  json["input_side"] = report.head->input_side;
  json["classes"] = report.head->classes;
  json["anchors"] = report.head->anchors;
  json["prototypes"] = report.head->coefficients;
  return json;
}

}  // namespace

const AIEngineConfig* NetworkReport::config() const {
  if (segmentation.fits()) return &segmentation.config;
  if (classifier.fits()) return &classifier.config;
  return fault.empty() ? &plain_config : nullptr;
}

std::string NetworkReport::Role() const {
  if (segmentation.fits()) return "segmentation network";
  if (classifier.fits()) return "classifier";
  return "neither segmentation network nor classifier";
}

NetworkReport InspectNetwork(const std::string& path, std::size_t batch, int threads,
                             const std::string& batch_option) {
  NetworkReport report;
  report.path = path;
  OpenDimensions open;
  open.batch = static_cast<std::int64_t>(batch);
  report.fault = FaultOf(path, [&] {
    Network network;
    std::string cause;
    if (ReadNetwork(path, open, network, cause) != 0) throw SetupError(cause);
    report.plain_config = std::move(network.config);
    report.plain_config.thread_count = threads;
    report.class_names = std::move(network.class_names);
    report.takes_any_batch = network.takes_any_batch;
  });
  report.description = DescribeNetwork(path);
  report.segmentation.fault = FaultOf(path, [&] {
    Network network = ReadSegmentationNetwork(path, batch, threads);
    report.head = ReadSegmentationHead(network.config);
    TryRun(network.config);
    report.segmentation.config = std::move(network.config);
  });
  AddBatchHint(report, batch, batch_option, report.fault);
  AddBatchHint(report, batch, batch_option, report.segmentation.fault);
  report.classifier.fault = FaultOf(path, [&] {
    AIEngineConfig config = ReadFeceNetwork(path, threads);
    TryRun(config);
    report.classifier.config = std::move(config);
  });
  return report;
}

std::string ReportText(const NetworkReport& report) {
  const OnnxDescription& description = report.description;
  std::string text = Printable(report.path) + "\n";
  if (!report.fault.empty() && description.inputs.empty()) {
    AddLine("unusable", report.fault, text);
    return text;
  }
  AddLine("producer", description.producer, text);
  AddLine("opset", PairsText(description.opsets), text);
  AddTensors("input", description.inputs, text);
  AddTensors("output", description.outputs, text);
  AddLine("classes", PairsText(report.class_names), text);
  for (const auto& [key, value] : description.metadata) {
    if (key != "names" || report.class_names.empty()) AddLine("metadata", key + ": " + value, text);
  }
  AddLine("segments",
          report.segmentation.fits() ? "yes: " + HeadText(*report.head, report.takes_any_batch)
                                     : "no: " + report.segmentation.fault,
          text);
  AddLine("classifies", report.classifier.fits() ? "yes" : "no: " + report.classifier.fault, text);
  return text;
}

ordered_json ReportJson(const NetworkReport& report) {
  const OnnxDescription& description = report.description;
  ordered_json json{{"file", report.path}};
  json["producer"] = description.producer;
  json["ir_version"] = description.ir_version;
  json["opsets"] = ordered_json(description.opsets);
  json["metadata"] = ordered_json(description.metadata);
  json["inputs"] = TensorsJson(description.inputs);
  json["outputs"] = TensorsJson(description.outputs);
  json["class_names"] = ordered_json::object();
  for (const auto& [id, name] : report.class_names) {
    json["class_names"][std::to_string(id)] = name;
  }
  json["segmentation"] = SegmentationJson(report);
  json["classifier"] = SuitabilityJson(report.classifier);
  json["config"] = report.config() == nullptr ? ordered_json() : ConfigJson(*report.config());
  return json;
}

}  // namespace dirty_seg
