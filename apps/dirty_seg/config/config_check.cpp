#include "config/config_check.h"

#include <fmt/format.h>

#include <algorithm>

#include "base/errors.h"
#include "base/geometry_text.h"
#include "base/nearest.h"
#include "base/printable.h"
#include "base/text.h"
#include "config/patch_fit.h"
#include "config/starter.h"
#include "console/messages.h"
#include "geometry/letterbox.h"
#include "network/postprocess_options.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

using FileProblems = std::vector<FileProblem>;

constexpr double kMaxShared = 0.5;
constexpr std::size_t kMaxGaps = 4;

std::string Percent(double share) { return fmt::format("{:.1f} %", 100.0 * share); }

// Place in the file.
struct Place {
  int line = 0;
  std::string key;
};

Place PlaceOf(const ListedPatch& patch) { return {patch.line, PatchKey(patch.index)}; }

void Warn(const Place& place, const std::string& text, const std::string& advice,
          FileProblems& findings) {
  findings.push_back({FileProblem::Kind::kWarning, place.line, text, advice, place.key});
}

void Fail(const Place& place, const std::string& text, const std::string& advice,
          FileProblems& findings) {
  findings.push_back({FileProblem::Kind::kError, place.line, text, advice, place.key});
}

// ---- Keys and values ----------------------------------------------------------------------------

std::vector<std::string> PostprocessNames() {
  std::vector<std::string> names;
  for (const auto& key : nuvik::model::PostprocessKeys()) names.push_back(key.name);
  return names;
}

// Other programs may read the file too, so a key unlike any of ours may be theirs.
void CheckRootKeys(const YAML::Node& root, FileProblems& findings) {
  if (!root.IsMap()) return;
  const std::vector<std::string> known{"patch", "postprocess"};
  for (const auto& entry : root) {
    const std::string key = entry.first.IsScalar() ? entry.first.Scalar() : "?";
    if (std::find(known.begin(), known.end(), key) != known.end()) continue;
    const std::string meant = NearestHint(key, known);
    const std::string text = fmt::format("{} is not a known key and has no effect", key);
    const Place place{LineOf(entry.first), key};
    if (meant.empty()) {
      Warn(place, text, "the detector reads patch and postprocess", findings);
    } else {
      Fail(place, text, meant, findings);
    }
  }
  FindRepeatedKeys(root, "", findings);
}

void CheckPatchKeys(const YAML::Node& patch, FileProblems& findings) {
  if (!patch.IsDefined() || !patch.IsMap()) return;
  const std::vector<std::string> known{"enable", "patches"};
  for (const auto& entry : patch) {
    const std::string key = entry.first.IsScalar() ? entry.first.Scalar() : "?";
    if (std::find(known.begin(), known.end(), key) != known.end()) continue;
    Fail({LineOf(entry.first), "patch." + key},
         fmt::format("patch.{} is not a known key and has no effect", key), NearestHint(key, known),
         findings);
  }
  FindRepeatedKeys(patch, "patch.", findings);
}

// Those that are whole numbers; the others are errors.
std::vector<ListedClass> ListClasses(const YAML::Node& postprocess) {
  std::vector<ListedClass> classes;
  const auto list = [&classes](const YAML::Node& node, const std::string& key) {
    int id = 0;
    if (!node.IsScalar() || !YAML::convert<int>::decode(node, id)) return;
    classes.push_back({id, LineOf(node), "postprocess." + key});
  };
  const YAML::Node thresholds = postprocess["score_thresholds"];
  if (thresholds.IsDefined() && thresholds.IsMap()) {
    for (const auto& entry : thresholds) list(entry.first, "score_thresholds");
  }
  const YAML::Node wanted = postprocess["classes"];
  if (wanted.IsDefined() && wanted.IsSequence()) {
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      list(wanted[i], fmt::format("classes[{}]", i));
    }
  }
  return classes;
}

void CheckPostprocess(const YAML::Node& root, ConfigCheck& check) {
  FileProblems& findings = check.findings;
  std::vector<nuvik::model::PostprocessProblem> problems;
  check.postprocess = nuvik::model::ReadPostprocessOptions(root, problems);
  const std::string prefix = "postprocess.";
  for (const auto& problem : problems) {
    const Place place{problem.mark.is_null() ? 0 : problem.mark.line + 1, problem.key};
    const std::string advice =
        problem.expected.empty()
            ? NearestHint(problem.key.substr(prefix.size()), PostprocessNames())
            : "expected " + problem.expected;
    Fail(place, problem.key + " " + problem.text, advice, findings);
  }
  if (!root.IsMap()) return;
  const YAML::Node mapping = root["postprocess"];
  if (!mapping.IsDefined() || !mapping.IsMap()) return;
  FindRepeatedKeys(mapping, prefix, findings);
  const YAML::Node thresholds = mapping["score_thresholds"];
  if (thresholds.IsDefined() && thresholds.IsMap()) {
    FindRepeatedKeys(thresholds, prefix + "score_thresholds.", findings);
  }
  check.classes = ListClasses(mapping);
}

// ---- Patches ------------------------------------------------------------------------------------

std::string Suggestions(const cv::Rect& patch, int side) {
  const cv::Size most(geometry::kFrameWidth - patch.x, geometry::kFrameHeight - patch.y);
  const std::vector<cv::Size> sizes = NearestWholeSizes(patch.size(), side, most);
  return sizes.empty() ? "" : "near it, these do not: " + JoinEach(sizes, SizeText);
}

// If the patches cover the whole frame, the limits allow what `init` would lay out for the batch:
// editing the file could not improve on that.
FitLimits LimitsFor(int side, std::optional<int> batch, const Coverage& coverage) {
  const FitLimits limits = kDefaultFitLimits;
  if (!batch || !coverage.gaps.empty()) return limits;
  const std::vector<Grid> grids = GridsThatFit(*batch, kDefaultOverlap, side);
  if (grids.empty()) return limits;
  const PatchFit best = FitPatch(LayOutGrid(grids[0], kDefaultOverlap, side).at(0).size(), side);
  return {std::max(limits.grey, best.grey), std::max(limits.shrunk, best.shrunk),
          std::max(limits.enlarged, 1.0 / best.shrunk)};
}

void CheckPatch(const ListedPatch& patch, int side, const FitLimits& limits,
                FileProblems& findings) {
  const Place place = PlaceOf(patch);
  const cv::Rect clipped = Clipped(patch);
  const std::string name = PatchName(patch.index) + " " + RectText(patch.rectangle);
  if (clipped != patch.rectangle) {
    Warn(place,
         name + " reaches over the frame's edge and is clipped to " + SizeText(clipped.size()), "",
         findings);
  }
  const PatchFit fit = FitPatch(clipped.size(), side);
  if (fit.scaled.empty()) {
    Fail(place,
         fmt::format("{} is too thin: scaled to a side of {}, nothing of it is left, and every "
                     "frame fails",
                     name, side),
         "", findings);
    return;
  }
  if (!fit.is_whole) {
    Warn(place,
         fmt::format("{}: {} is scaled to {} and padded to {}, short of the network's {}, which "
                     "shears the picture",
                     name, SizeText(clipped.size()), SizeText(fit.scaled), SizeText(fit.square),
                     SizeText({side, side})),
         Suggestions(clipped, side), findings);
  }
  if (fit.grey > limits.grey) {
    Warn(place, fmt::format("{} leaves {} of the network's input grey", name, Percent(fit.grey)),
         "", findings);
  }
  if (fit.shrunk > limits.shrunk) {
    Warn(place, fmt::format("{} is shrunk to one pixel of {:.1f}", name, fit.shrunk), "", findings);
  }
  if (1.0 / fit.shrunk > limits.enlarged) {
    Warn(place, fmt::format("{} is enlarged {:.1f} times", name, 1.0 / fit.shrunk),
         "a larger one costs no more", findings);
  }
}

// Warns about each patch and the earlier one that it shares most with.
void CheckPairs(const std::vector<ListedPatch>& patches, FileProblems& findings) {
  for (std::size_t j = 1; j < patches.size(); ++j) {
    const cv::Rect second = Clipped(patches[j]);
    double most = 0.0;
    std::size_t other = 0;
    for (std::size_t i = 0; i < j; ++i) {
      const cv::Rect first = Clipped(patches[i]);
      const double smaller = std::min(first.area(), second.area());
      const double shared = (first & second).area() / smaller;
      if (shared <= most) continue;
      most = shared;
      other = i;
    }
    if (most <= kMaxShared) continue;
    Warn(PlaceOf(patches[j]),
         fmt::format("{} and {} share {} of the smaller one", PatchName(patches[j].index),
                     PatchName(patches[other].index), Percent(most)),
         "what lies there is found twice", findings);
  }
}

void CheckGaps(const Coverage& coverage, FileProblems& findings) {
  std::vector<cv::Rect> shown = coverage.gaps;
  if (shown.empty()) return;
  shown.resize(std::min(shown.size(), kMaxGaps));
  std::string text = fmt::format("{} of the frame lie in no patch: {}", Percent(coverage.gap_share),
                                 JoinEach(shown, RectText));
  if (const std::size_t more = coverage.gaps.size() - shown.size(); more > 0) {
    text += fmt::format(" and {} more", more);
  }
  Warn({}, text, "", findings);
}

void SortByLine(FileProblems& findings) {
  std::stable_sort(findings.begin(), findings.end(),
                   [](const FileProblem& a, const FileProblem& b) { return a.line < b.line; });
}

}  // namespace

std::size_t ConfigCheck::Count(FileProblem::Kind kind) const {
  return static_cast<std::size_t>(
      std::count_if(findings.begin(), findings.end(),
                    [kind](const FileProblem& finding) { return finding.kind == kind; }));
}

cv::Rect Clipped(const ListedPatch& patch) {
  return geometry::ClipFarEdges(patch.rectangle, geometry::FrameSize());
}

ConfigCheck CheckConfig(const std::string& path) { return CheckConfig(LoadYaml(path)); }

ConfigCheck CheckConfig(const YAML::Node& root) {
  ConfigCheck check;
  CheckRootKeys(root, check.findings);
  check.patches = ReadPatchList(root, check.findings);
  if (root.IsMap()) CheckPatchKeys(root["patch"], check.findings);
  CheckPostprocess(root, check);
  std::vector<cv::Rect> rectangles;
  for (const ListedPatch& patch : check.patches) rectangles.push_back(Clipped(patch));
  check.coverage = CoverFrame(rectangles);
  if (!check.patches.empty()) CheckGaps(check.coverage, check.findings);
  CheckPairs(check.patches, check.findings);
  SortByLine(check.findings);
  return check;
}

void CheckFit(int side, std::optional<int> batch, ConfigCheck& check) {
  check.side = side;
  const FitLimits limits = LimitsFor(side, batch, check.coverage);
  for (const ListedPatch& patch : check.patches) CheckPatch(patch, side, limits, check.findings);
  SortByLine(check.findings);
}

void CheckClasses(int classes, ConfigCheck& check) {
  for (const ListedClass& listed : check.classes) {
    if (listed.id < classes) continue;
    Warn({listed.line, listed.key},
         fmt::format("{} names class {}: the network has no such class, so it has no effect",
                     listed.key, listed.id),
         fmt::format("expected class ids from 0 to {}", classes - 1), check.findings);
  }
  SortByLine(check.findings);
}

void RefuseErrors(const std::string& path, const ConfigCheck& check) {
  const std::size_t count = check.Count(FileProblem::Kind::kError);
  for (const FileProblem& finding : check.findings) {
    if (finding.kind != FileProblem::Kind::kError) continue;
    if (count == 1) RejectFile(path, finding);
    PrintError(FileProblemText(path, finding));
  }
  if (count == 0) return;
  throw SetupError(fmt::format(
      "'{}' has these {} errors; 'dirty_seg check' shows them with warnings", path, count));
}

std::string CheckText(const std::string& path, const ConfigCheck& check) {
  std::string text;
  for (const FileProblem& finding : check.findings) {
    const std::string line = finding.line == 0 ? "" : fmt::format(":{}", finding.line);
    const char* const kind = finding.kind == FileProblem::Kind::kError ? "error" : "warning";
    text += Printable(fmt::format("{}{}: {}: {}", path, line, kind, SentenceOf(finding))) + "\n";
  }
  text += fmt::format("{}: {}, {}", Printable(path),
                      Counted(check.Count(FileProblem::Kind::kError), "error"),
                      Counted(check.Count(FileProblem::Kind::kWarning), "warning"));
  if (!check.patches.empty()) {
    const std::size_t count = check.patches.size();
    text += fmt::format("; {} {} {} of the frame, {} more than once", count,
                        count == 1 ? "patch covers" : "patches cover",
                        Percent(1.0 - check.coverage.gap_share),
                        Percent(check.coverage.repeated_share));
  }
  return text + "\n";
}

}  // namespace dirty_seg
