#include "bench/bench_report.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "base/percentiles.h"
#include "base/printable.h"
#include "base/text_table.h"
#include "config/postprocess_json.h"
#include "files/name_text.h"
#include "results/stages.h"

namespace dirty_seg {
namespace {

using nlohmann::ordered_json;
using Rows = std::vector<std::vector<std::string>>;

constexpr const char* kSideNames = "AB";
constexpr int kBenchSchemaVersion = 1;

std::string SideName(std::size_t side) { return {kSideNames[side]}; }

// Nothing for a stage that was not measured.
std::optional<Distribution> TimesOf(const BenchSide& side, const std::string& stage) {
  const auto times = side.times.find(stage);
  if (times == side.times.end() || times->second.empty()) return std::nullopt;
  return Summarise(times->second);
}

// Frames one after the other, without reading the pictures.
double FramesPerSecond(const BenchSide& side) {
  const Distribution total = Summarise(side.times.at(kTotalStage));
  return total.mean > 0.0 ? 1000.0 / total.mean : 0.0;
}

struct Medians {
  double a;
  double b;
  // Nothing if A took no measurable time.
  std::optional<double> Ratio() const { return a > 0.0 ? std::optional(b / a) : std::nullopt; }
};

// Nothing for a single side, or for a stage that was not measured.
std::optional<Medians> MediansOf(const BenchResult& result, const std::string& stage) {
  if (result.sides.size() < 2) return std::nullopt;
  const std::optional<Distribution> a = TimesOf(result.sides[0], stage);
  const std::optional<Distribution> b = TimesOf(result.sides[1], stage);
  if (!a || !b) return std::nullopt;
  return Medians{a->p50, b->p50};
}

std::string RatioText(const std::optional<Medians>& medians) {
  const std::optional<double> ratio = medians ? medians->Ratio() : std::nullopt;
  return ratio ? Fixed(*ratio, 3) : "-";
}

std::string SideText(const BenchSide& side) {
  std::string text = side.options.model + " with " + side.options.config;
  if (!side.options.fece_model.empty()) text += " and " + side.options.fece_model;
  if (side.options.threads == 0) return text + ", all cores";
  return text + fmt::format(", threads: {}", side.options.threads);
}

std::string TimesTable(const BenchResult& result) {
  Rows rows{{"ms", "", "mean", "p50", "p95", "p99", "worst"}};
  if (result.sides.size() > 1) rows[0].emplace_back("B / A");
  for (const std::string stage : kBenchStages) {
    for (std::size_t i = 0; i < result.sides.size(); ++i) {
      const std::optional<Distribution> times = TimesOf(result.sides[i], stage);
      if (!times) continue;
      rows.push_back({i == 0 ? stage : "", SideName(i), Fixed(times->mean, 3), Fixed(times->p50, 3),
                      Fixed(times->p95, 3), Fixed(times->p99, 3), Fixed(times->worst, 3)});
      if (i == 1) rows.back().push_back(RatioText(MediansOf(result, stage)));
    }
  }
  return FormatTable(rows);
}

std::string MemoryText(const BenchSide& side) {
  if (!side.peak_memory) return "not known";
  return Fixed(static_cast<double>(*side.peak_memory) / (1024.0 * 1024.0), 1) + " MiB";
}

std::string SidesTable(const BenchResult& result) {
  Rows rows{{"", "frames/s", "peak memory, each in its own process"}};
  for (std::size_t i = 0; i < result.sides.size(); ++i) {
    rows.push_back(
        {SideName(i), Fixed(FramesPerSecond(result.sides[i]), 2), MemoryText(result.sides[i])});
  }
  return FormatTable(rows);
}

// Empty if all numbers were finite.
std::string NonFiniteText(const BenchResult& result) {
  std::string text;
  for (std::size_t i = 0; i < result.sides.size(); ++i) {
    const std::size_t count = result.sides[i].non_finite_frames;
    if (count == 0) continue;
    text += fmt::format(
        "{}'s network gave numbers that are not finite in {} of {} frames: "
        "dirt may be missed there\n",
        SideName(i), count, result.frames);
  }
  return text.empty() ? "" : "\n" + text;
}

ordered_json SideToJson(const BenchSide& side) {
  ordered_json json;
  PutName("model", side.options.model, json);
  PutName("config", side.options.config, json);
  if (!side.options.fece_model.empty()) PutName("fece_model", side.options.fece_model, json);
  json["threads"] = side.options.threads;
  if (!side.options.thresholds.empty()) json["thresholds"] = PostprocessToJson(side.thresholds);
  ordered_json& times = json["timing_ms"] = ordered_json::object();
  for (const char* stage : kBenchStages) {
    if (const auto all = TimesOf(side, stage)) times[stage] = DistributionToJson(*all);
  }
  json["frames_per_second"] = FramesPerSecond(side);
  json["non_finite_frames"] = side.non_finite_frames;
  if (side.peak_memory) json["peak_memory_bytes"] = *side.peak_memory;
  return json;
}

ordered_json RatiosToJson(const BenchResult& result) {
  ordered_json ratios = ordered_json::object();
  for (const char* stage : kBenchStages) {
    const std::optional<Medians> medians = MediansOf(result, stage);
    if (!medians) continue;
    ordered_json& entry = ratios[stage];
    entry["median_a"] = medians->a;
    entry["median_b"] = medians->b;
    if (const auto ratio = medians->Ratio()) entry["b_to_a"] = *ratio;
  }
  return ratios;
}

}  // namespace

std::string BenchText(const BenchPlan& plan, const BenchResult& result) {
  std::string text;
  for (std::size_t i = 0; i < result.sides.size(); ++i) {
    text += SideName(i) + "  " + Printable(SideText(result.sides[i])) + "\n";
  }
  text += fmt::format("{} frames, {} rounds each after {} of warm-up{}{}\n\n", result.frames,
                      plan.rounds, plan.warmup, result.sides.size() > 1 ? ", A and B in turns" : "",
                      result.interrupted ? "; cut short by an interrupt" : "");
  text += TimesTable(result) + "\n" + SidesTable(result) + NonFiniteText(result);
  const std::optional<Medians> total = MediansOf(result, kTotalStage);
  if (!total) return text;
  text += fmt::format("\nB takes {} of A's time: medians {:.3f} and {:.3f} ms\n", RatioText(total),
                      total->b, total->a);
  return text + "\nresults of B compared with those of A\n" + TotalsText(result.differences);
}

ordered_json BenchToJson(const std::string& program, const BenchPlan& plan,
                         const BenchResult& result) {
  ordered_json json;
  json["schema_version"] = kBenchSchemaVersion;
  json["program"] = program;
  json["frames"] = result.frames;
  json["failed"] = result.failed;
  json["interrupted"] = result.interrupted;
  json["rounds"] = plan.rounds;
  json["warmup"] = plan.warmup;
  json["a"] = SideToJson(result.sides[0]);
  if (result.sides.size() < 2) return json;
  json["b"] = SideToJson(result.sides[1]);
  json["ratios"] = RatiosToJson(result);
  json["differences"] = ToJson(result.differences);
  return json;
}

}  // namespace dirty_seg
