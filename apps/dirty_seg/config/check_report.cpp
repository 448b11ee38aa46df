#include "config/check_report.h"

#include <nlohmann/json.hpp>

#include "base/geometry_json.h"
#include "config/patch_fit.h"
#include "files/name_text.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;

constexpr int kCheckSchemaVersion = 1;

ordered_json FileProblemToJson(const std::string& path, const FileProblem& finding) {
  ordered_json json;
  json["file"] = path;
  if (finding.line > 0) json["line"] = finding.line;
  if (!finding.key.empty()) json["key"] = finding.key;
  json["kind"] = finding.kind == FileProblem::Kind::kError ? "error" : "warning";
  json["message"] = finding.text;
  if (!finding.advice.empty()) json["advice"] = finding.advice;
  return json;
}

ordered_json PatchToJson(const ListedPatch& patch, int side) {
  const cv::Rect clipped = Clipped(patch);
  const PatchFit fit = FitPatch(clipped.size(), side);
  return {{"patch", patch.index},
          {"line", patch.line},
          {"rectangle", RectToJson(patch.rectangle)},
          {"clipped", RectToJson(clipped)},
          {"scaled", SizeToJson(fit.scaled)},
          {"padded", SizeToJson(fit.square)},
          {"fills_slot", fit.is_whole},
          {"grey_share", fit.grey},
          {"shrunk", fit.shrunk}};
}

}  // namespace

ordered_json ToJson(const std::string& path, const ConfigCheck& check) {
  ordered_json json;
  json["schema_version"] = kCheckSchemaVersion;
  PutName("config", path, json);
  json["network_side"] = check.side;
  json["errors"] = check.Count(FileProblem::Kind::kError);
  json["warnings"] = check.Count(FileProblem::Kind::kWarning);
  ordered_json& findings = json["findings"] = ordered_json::array();
  for (const FileProblem& finding : check.findings) {
    findings.push_back(FileProblemToJson(path, finding));
  }
  ordered_json& patches = json["patches"] = ordered_json::array();
  for (const ListedPatch& patch : check.patches) patches.push_back(PatchToJson(patch, check.side));
  ordered_json& coverage = json["coverage"];
  coverage["gap_share"] = check.coverage.gap_share;
  coverage["repeated_share"] = check.coverage.repeated_share;
  ordered_json& gaps = coverage["gaps"] = ordered_json::array();
  for (const cv::Rect& gap : check.coverage.gaps) gaps.push_back(RectToJson(gap));
  return json;
}

}  // namespace dirty_seg
