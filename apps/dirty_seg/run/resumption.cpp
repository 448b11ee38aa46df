#include "run/resumption.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>

#include "base/base64.h"
#include "base/errors.h"
#include "files/result_names.h"
#include "frames/inputs.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;

constexpr const char* kExpected =
    "expected what that run had, or another --output folder, or --overwrite to begin anew";

[[noreturn]] void Reject(const std::string& folder, const std::string& what) {
  throw SetupError(fmt::format("--resume '{}': {}", folder, what));
}

[[noreturn]] void RejectSummary(const std::string& folder, const std::string& what) {
  Reject(folder, fmt::format("{} {}; expected the folder of a run of this version, or --overwrite "
                             "to begin anew",
                             kSummaryFile, what));
}

json ReadSummary(const std::string& folder) {
  std::ifstream file(fs::path(folder) / kSummaryFile, std::ios::binary);
  if (!file) RejectSummary(folder, "is missing, so that it is not known how the run was made");
  json summary = json::parse(file, nullptr, false);
  if (!summary.is_object()) RejectSummary(folder, "is not a JSON object");
  return summary;
}

std::string Shown(const json& value) { return value.is_null() ? "not given" : value.dump(); }

// As the user gives what has the key.
std::string OptionOf(const std::string& key) {
  std::string option = "--" + key;
  std::replace(option.begin(), option.end(), '_', '-');
  return option;
}

// The first key with another value, of all that either has.
std::optional<std::string> FindDifference(const json& before, const json& now) {
  json both = before;
  both.update(now);
  for (const auto& [key, ignored] : both.items()) {
    if (before.value(key, json()) != now.value(key, json())) return key;
  }
  return std::nullopt;
}

void RequireSame(const std::string& folder, const json& before, const json& now, const char* group,
                 const char* what) {
  const json& old_group = before[group];
  if (!old_group.is_object()) RejectSummary(folder, fmt::format("has no {}", group));
  const std::optional<std::string> key = FindDifference(old_group, now[group]);
  if (!key) return;
  Reject(folder,
         fmt::format("{} was {} in that run, and is {} now; {}",
                     fmt::format(what, OptionOf(*key), *key), Shown(old_group.value(*key, json())),
                     Shown(now[group].value(*key, json())), kExpected));
}

void RequireSameRun(const std::string& folder, const json& before, const json& now) {
  if (before.value("program", json()) != now["program"]) {
    Reject(folder,
           fmt::format("it was made by {}, and this is {}; {}",
                       Shown(before.value("program", json())), Shown(now["program"]), kExpected));
  }
  RequireSame(folder, before, now, "checksums", "the SHA-256 of {}");
  RequireSame(folder, before, now, "options", "{}");
  RequireSame(folder, before, now, "thresholds", "'{1}'");
}

std::string SourceOf(const json& failure) {
  if (const auto bytes = BytesOfBase64(failure.value("source_bytes", ""));
      bytes && !bytes->empty()) {
    return *bytes;
  }
  return failure.at("source").get<std::string>();
}

std::map<std::string, std::vector<Failure>> FailuresOf(const json& summary) {
  std::map<std::string, std::vector<Failure>> failures;
  for (const json& entry : summary.at("failures")) {
    const std::string source = SourceOf(entry);
    Failure& failure = failures[source].emplace_back();
    failure.source = source;
    if (entry.contains("frame")) failure.frame = entry["frame"].get<std::int64_t>();
    failure.cause = entry.at("cause").get<std::string>();
  }
  return failures;
}

bool IsContinuous(const std::string& source) { return KindOf(source) != InputKind::kPicture; }

// Whether the frame is of another input than the last one, which may be the same file given twice.
bool BeginsInput(const StoredFrame& frame, const std::vector<EarlierInput>& inputs) {
  if (inputs.empty() || inputs.back().source != frame.source) return true;
  return !IsContinuous(frame.source) || frame.frame < inputs.back().next_frame;
}

void Count(const StoredFrame& frame, EarlierResults& earlier) {
  if (BeginsInput(frame, earlier.inputs)) {
    earlier.inputs.emplace_back().source = frame.source;
    earlier.last_video.clear();
  }
  EarlierInput& input = earlier.inputs.back();
  ++input.frames;
  input.next_frame = frame.frame + 1;
  ++earlier.frames;
  if (frame.success) return;
  const bool has_number = IsContinuous(frame.source);
  input.failures.push_back(
      {frame.source, has_number ? std::optional(frame.frame) : std::nullopt, frame.message});
}

}  // namespace

Resumption::Resumption(const std::string& folder, const RunDescription& now) : folder_(folder) {
  json before = ReadSummary(folder);
  try {
    RequireSameRun(folder, before, DescriptionToJson(now));
    is_complete_ = before.at("complete").get<bool>();
    failures_ = FailuresOf(before);
  } catch (const json::exception&) {
    RejectSummary(folder, "lacks what a run writes");
  }
}

EarlierResults Resumption::Read(
    bool keeps_last_video,
    const std::function<void(const StoredFrame&, EarlierInput&)>& take) const {
  EarlierResults earlier;
  ResultsFile file(folder_);
  // One line behind, as the last one is left out.
  std::optional<StoredFrame> held;
  std::int64_t held_bytes = 0;
  bool has_all = true;
  const auto take_held = [&] {
    has_all = HasItsFiles(*held);
    if (!has_all) return;
    Count(*held, earlier);
    take(*held, earlier.inputs.back());
    earlier.bytes = held_bytes;
    if (!keeps_last_video || !IsContinuous(held->source)) return;
    const std::int64_t number = held->frame;
    earlier.last_video.emplace(number, *std::move(held));
  };
  while (has_all) {
    std::optional<StoredFrame> next = file.Next();
    if (held && (next || file.ends_unfinished() || is_complete_)) take_held();
    if (!next) break;
    held = std::move(next);
    held_bytes = file.offset();
  }
  FinishLast(earlier);
  return earlier;
}

// More than the last line may be left out, and then its input is not whole either.
void Resumption::FinishLast(EarlierResults& earlier) const {
  if (earlier.inputs.empty()) return;
  std::error_code ignored;
  const auto size = fs::file_size(fs::path(folder_) / kResultsFile, ignored);
  const bool has_everything = is_complete_ && static_cast<std::int64_t>(size) == earlier.bytes;
  EarlierInput& last = earlier.inputs.back();
  last.is_whole = has_everything || !IsContinuous(last.source);
  if (last.is_whole) earlier.last_video.clear();
  for (EarlierInput& input : earlier.inputs) {
    if (input.is_whole) AddFailuresOf(input);
  }
}

// A file system may lose what was written last when the power goes.
bool Resumption::HasItsFiles(const StoredFrame& frame) const {
  const auto is_there = [this](const std::string& name) {
    std::error_code error;
    return name.empty() || (fs::file_size(fs::path(folder_) / name, error) > 0 && !error);
  };
  return is_there(frame.overlay) &&
         std::all_of(frame.masks.begin(), frame.masks.end(),
                     [&](const auto& mask) { return is_there(mask.second.file); });
}

// Those that no line tells.
void Resumption::AddFailuresOf(EarlierInput& input) const {
  const auto of_source = failures_.find(input.source);
  if (of_source == failures_.end()) return;
  for (const Failure& failure : of_source->second) {
    const auto end = input.failures.end();
    if (std::find(input.failures.begin(), end, failure) == end) input.failures.push_back(failure);
  }
}

}  // namespace dirty_seg
