#include "config/starter.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>

#include "base/errors.h"
#include "base/geometry_text.h"
#include "base/text.h"
#include "base/utf8.h"
#include "config/detector_options.h"
#include "config/patch_fit.h"
#include "geometry/letterbox.h"
#include "network/postprocess_options.h"

namespace dirty_seg {
namespace {

namespace geometry = nuvik::geometry;

constexpr int kMaxCells = 64;
const cv::Size kFrame = geometry::FrameSize();

bool ReadWhole(const std::string& text, int& value) {
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, value);
  return error == std::errc() && stop == end;
}

// Length of each of `count` cells over `length` pixels, with neighbours sharing `overlap`; rounded
// up.
int CellLength(int length, int count, int overlap) {
  return (length + (count - 1) * overlap + count - 1) / count;
}

// Start of the i-th of `count` cells: the first begins at 0, the last ends at `length`.
int CellOrigin(int length, int cell, int count, int i) {
  return count == 1 ? 0 : i * (length - cell) / (count - 1);
}

// The size of the grid's patches, which fill the network's square whole; empty if there is none.
cv::Size PatchSize(const Grid& grid, int overlap, int side) {
  const cv::Size least(CellLength(kFrame.width, grid.columns, overlap),
                       CellLength(kFrame.height, grid.rows, overlap));
  // Neighbours that both span the whole frame would be the same patch.
  const cv::Size most(kFrame.width - (grid.columns > 1 ? 1 : 0),
                      kFrame.height - (grid.rows > 1 ? 1 : 0));
  return SmallestWholeSize(least, side, most);
}

// `words`, spaces up to a common column, and the comment.
std::string Line(const std::string& words, const std::string& comment) {
  constexpr std::size_t kColumn = 34;
  const std::size_t spaces = words.size() < kColumn ? kColumn - words.size() : 1;
  return words + std::string(spaces, ' ') + "# " + comment + "\n";
}

std::string QuotedScalar(const std::string& text) {
  if (!IsUtf8(text)) {
    throw SetupError(fmt::format(
        "'{}': is not UTF-8, which is all that YAML holds; expected another name", text));
  }
  YAML::Emitter emitter;
  emitter << text;
  return emitter.c_str();
}

// A list with at most twenty numbers per line.
std::string Ids(const std::vector<int>& ids) {
  constexpr std::ptrdiff_t kInLine = 20;
  std::vector<std::string> lines;
  for (auto id = ids.begin(); id != ids.end();) {
    const auto end = id + std::min(kInLine, ids.end() - id);
    lines.push_back(fmt::format("{}", fmt::join(id, end, ", ")));
    id = end;
  }
  return fmt::format("[{}]", Join(lines, ",\n  "));
}

// Comment lines of at most 100 columns. A comment ends with its line, so names are put on one.
std::string ClassComment(const std::map<std::int32_t, std::string>& names) {
  std::string text;
  std::string line = "# classes:";
  for (const auto& [id, name] : names) {
    const std::string entry = fmt::format(" {} {}", id, OneLine(name));
    if (line.size() + entry.size() > 96) {
      text += line + "\n";
      line = "#  ";
    }
    line += entry + (id == names.rbegin()->first ? "" : ",");
  }
  return names.empty() ? "" : text + line + "\n";
}

}  // namespace

std::optional<Grid> ParseGrid(const std::string& text) {
  const std::size_t x = text.find('x');
  Grid grid;
  if (x == std::string::npos || !ReadWhole(text.substr(0, x), grid.columns) ||
      !ReadWhole(text.substr(x + 1), grid.rows)) {
    return std::nullopt;
  }
  const bool is_sane =
      grid.columns >= 1 && grid.columns <= kMaxCells && grid.rows >= 1 && grid.rows <= kMaxCells;
  return is_sane ? std::optional<Grid>(grid) : std::nullopt;
}

std::string GridText(const Grid& grid) { return fmt::format("{}x{}", grid.columns, grid.rows); }

std::vector<cv::Rect> LayOutGrid(const Grid& grid, int overlap, int side) {
  const cv::Size size = PatchSize(grid, overlap, side);
  if (size.empty()) {
    throw SetupError(
        fmt::format("--grid {} --overlap {}: no patch size of the frame fills the network's {}; "
                    "expected a smaller overlap or another grid",
                    GridText(grid), overlap, SizeText({side, side})));
  }
  std::vector<cv::Rect> patches;
  for (int row = 0; row < grid.rows; ++row) {
    for (int column = 0; column < grid.columns; ++column) {
      patches.emplace_back(cv::Point(CellOrigin(kFrame.width, size.width, grid.columns, column),
                                     CellOrigin(kFrame.height, size.height, grid.rows, row)),
                           size);
    }
  }
  return patches;
}

std::vector<Grid> GridsThatFit(int slots, int overlap, int side) {
  constexpr std::size_t kMaxGrids = 3;
  std::vector<std::pair<double, Grid>> ranked;  // grey share of the batch, least first
  for (int columns = 1; columns <= std::min(slots, kMaxCells); ++columns) {
    for (int rows = 1; columns * rows <= slots && rows <= kMaxCells; ++rows) {
      const Grid grid{columns, rows};
      const cv::Size size = PatchSize(grid, overlap, side);
      if (size.empty()) continue;
      const double used = grid.count() * (1.0 - FitPatch(size, side).grey) / slots;
      ranked.emplace_back(1.0 - used, grid);
    }
  }
  std::stable_sort(ranked.begin(), ranked.end(),
                   [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<Grid> grids;
  for (const auto& [grey, grid] : ranked) {
    if (grids.size() < kMaxGrids) grids.push_back(grid);
  }
  return grids;
}

Grid DefaultGrid(int side, std::optional<int> batch, int overlap) {
  const Grid usual;
  const auto first = [&](int slots) {
    const std::vector<Grid> grids = GridsThatFit(slots, overlap, side);
    return grids.empty() ? usual : grids[0];
  };
  if (batch) return first(*batch);
  constexpr int kMaxSlots = 24;
  for (int slots = usual.count(); slots <= kMaxSlots; ++slots) {
    const Grid grid = slots == usual.count() ? usual : first(slots);
    const cv::Size size = PatchSize(grid, overlap, side);
    if (!size.empty() && IsWithin(FitPatch(size, side), kDefaultFitLimits)) return grid;
  }
  return usual;
}

std::string StarterConfig(const std::vector<cv::Rect>& patches, const std::string& layout) {
  std::string text =
      "# Configuration of the dirty-region detector: where it looks, and what it keeps.\n"
      "# 'dirty_seg check' says what is wrong with it, and draws the patches on a frame.\n\n"
      "# Cut out of the 1920 x 1080 frame, scaled to the network's input with their proportions\n"
      "# kept, and padded square. Each takes one slot of the network's batch.\n"
      "patch:\n  enable: true\n";
  text += "  patches:  # x, y, width, height in frame pixels; " + layout + "\n";
  for (const cv::Rect& patch : patches) text += fmt::format("    - {}\n", RectText(patch));
  text +=
      "\n# How the network's output is decoded. Every key may be left out; these are the "
      "defaults.\n";
  text += "postprocess:\n";
  for (const auto& key : nuvik::model::PostprocessKeys()) {
    text += fmt::format("  # {}; {}\n", key.expected, key.meaning);
    const bool is_given = !key.fallback.empty();
    text += fmt::format("  {}{}: {}\n", is_given ? "" : "# ", key.name,
                        is_given ? key.fallback : key.example);
  }
  return text;
}

std::vector<int> FeceClassesByName(const std::map<std::int32_t, std::string>& class_names,
                                   int classes) {
  constexpr std::array<const char*, 7> kWords{"faec", "fece",      "fecal", "poo",
                                              "dung", "excrement", "stool"};
  std::vector<int> ids;
  for (const auto& [id, name] : class_names) {
    const std::string lower = Lower(name);
    const bool speaks = std::any_of(kWords.begin(), kWords.end(), [&lower](const char* word) {
      return lower.find(word) != std::string::npos;
    });
    if (speaks && id >= 0 && id < classes) ids.push_back(id);
  }
  return ids;
}

std::string StarterHost(const StarterNetworks& networks, const std::string& config_name) {
  const DetectorOptions defaults;
  std::string text =
      "# Host file of dirty_seg: what its flags say, for every command that takes --host.\n"
      "#   dirty_seg detect --host host.yaml --save PICTURE...\n"
      "# A key at the left serves every command with such an option; one below a command's name,\n"
      "# only that command. The command line wins. Relative paths start at this file's folder.\n\n";
  text += Line("model: " + QuotedScalar(networks.model), networks.model_comment);
  text += Line("config: " + QuotedScalar(config_name), "patches and thresholds");
  text += ClassComment(networks.class_names);
  text += "\n";
  text += "# The classifier that confirms faeces, and the classes whose detections it looks at.\n";
  if (networks.fece_model.empty()) {
    text += "# fece-model: fece.onnx\n# fece-class-ids: [0]\n";
  } else {
    text += "fece-model: " + QuotedScalar(networks.fece_model) + "\n";
    text += "fece-class-ids: " + Ids(networks.fece_class_ids) + "\n";
  }
  text += Line(fmt::format("# fece-score-threshold: {:g}", defaults.fece_score_threshold),
               "0 to 1: it confirms above this probability");
  text += Line(fmt::format("# fece-area-threshold: {:g}", defaults.fece_area_threshold),
               "it looks at boxes of more pixels than this");
  text += "\n" + Line(fmt::format("# threads: {}", defaults.threads), "0: all cores");
  text += "\n" + Line("merge: true", "parts of one thing in several patches are one");
  text += "\n# detect:\n" + Line("#   output: found", "results, overlays and masks");
  return text;
}

}  // namespace dirty_seg
