#include "run/result_writer.h"

#include <fmt/format.h>

#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <utility>

#include "base/errors.h"
#include "base/stopwatch.h"
#include "base/text.h"
#include "drawing/overlay.h"
#include "files/json_text.h"
#include "files/output_file.h"
#include "files/run_folder.h"
#include "files/text_stream.h"
#include "media/media.h"
#include "results/stored_record.h"

namespace dirty_seg {
namespace {

struct Form {
  bool ResultOptions::*is_on;
  const char* flag;
  std::unique_ptr<ResultSink> (*make)(const OutputFolder& folder, const Labels& labels);
};

std::unique_ptr<ResultSink> MakeCrops(const OutputFolder& folder, const Labels& /*labels*/) {
  return MakeCropSink(folder);
}

std::unique_ptr<ResultSink> MakeVideo(const OutputFolder& folder, const Labels& /*labels*/) {
  return MakeVideoSink(folder);
}

constexpr std::array<Form, 5> kForms{{{&ResultOptions::coco, "--coco", MakeCocoSink},
                                      {&ResultOptions::polygons, "--polygons", MakePolygonSink},
                                      {&ResultOptions::yolo, "--yolo", MakeYoloSink},
                                      {&ResultOptions::crops, "--crops", MakeCrops},
                                      {&ResultOptions::video, "--video", MakeVideo}}};

void RequireNoSink(const ResultOptions& options) {
  for (const Form& form : kForms) {
    if (!(options.*form.is_on)) continue;
    throw SetupError(
        fmt::format("{} writes into a folder; expected --output DIR or --save", form.flag));
  }
}

}  // namespace

ResultWriter::ResultWriter(const ResultOptions& options, const Labels& labels,
                           std::FILE* standard_output, const RunDescription& description)
    : options_(options),
      labels_(labels),
      destination_("standard output"),
      standard_output_(standard_output) {
  // What every frame needs. Where it fails, no folder is left behind; and no frame's time has it in
  // it.
  LoadMedia();
  if (options.HasNoFolder()) {
    RequireNoSink(options);
    return;
  }
  OpenFolder(description);
  destination_ = fmt::format("'{}'", folder_->results_path());
  AddSinks();
}

// Before a sink empties a file: a folder that is refused stays as it was.
void ResultWriter::OpenFolder(const RunDescription& description) {
  if (options_.save) {
    folder_.emplace(MakeNumberedRunFolder("detect"), FolderUse::kReplace);
  } else {
    const FolderUse use = options_.resume      ? FolderUse::kGoOn
                          : options_.overwrite ? FolderUse::kReplace
                                               : FolderUse::kNew;
    folder_.emplace(options_.output, use);
  }
  if (folder_->has_earlier()) resumption_.emplace(folder_->path(), description);
}

void ResultWriter::AddSinks() {
  summary_path_ = folder_->Claim(kSummaryFile);
  for (const Form& form : kForms) {
    if (options_.*form.is_on) sinks_.push_back(form.make(*folder_, labels_));
  }
}

EarlierResults ResultWriter::Restore(Summary& summary) {
  if (!resumption_) return {};
  EarlierResults earlier =
      resumption_->Read(options_.video, [&](const StoredFrame& stored, EarlierInput& input) {
        RestoreFrame(stored, input, summary);
      });
  RequireRedrawable(earlier);
  folder_->CutResults(earlier.bytes);
  return earlier;
}

// A video is read again for its annotated one; what a camera showed is gone.
void ResultWriter::RequireRedrawable(const EarlierResults& earlier) const {
  if (!options_.video || earlier.inputs.empty()) return;
  const EarlierInput& last = earlier.inputs.back();
  if (last.is_whole || KindOf(last.source) != InputKind::kCamera) return;
  throw SetupError(fmt::format(
      "--resume '{}': --video cannot draw again what '{}' showed; expected another --output folder",
      folder_->path(), last.source));
}

void ResultWriter::RestoreFrame(const StoredFrame& stored, EarlierInput& input, Summary& summary) {
  FrameRecord record = RecordOf(stored);
  summary.AddFrame(record);
  if (!stored.success) return;
  if (input.name.empty()) input.name = names_.Take(stored.source);
  if (!options_.coco && !options_.polygons) return;
  AddMasks(stored, record);
  Frame frame;
  frame.source = stored.source;
  frame.index = stored.frame;
  const FrameFiles files = Describe(input.name, record);
  for (const std::unique_ptr<ResultSink>& sink : sinks_) {
    sink->Restore(Found(frame, record, files));
  }
}

void ResultWriter::TakeName(std::size_t input, const std::string& name) {
  if (name.empty()) return;
  input_ = input;
  input_name_ = name;
}

void ResultWriter::Redraw(const Frame& frame, const EarlierResults& earlier) {
  const auto stored = earlier.last_video.find(frame.index);
  if (stored == earlier.last_video.end() || !stored->second.success) return;
  FrameRecord record = RecordOf(stored->second);
  AddMasks(stored->second, record);
  FrameFiles files = Describe(NameOf(frame), record);
  files.overlay = DrawOverlay(*frame.picture, files.shown, labels_);
  for (const std::unique_ptr<ResultSink>& sink : sinks_) {
    sink->Redraw(Found(frame, record, files));
  }
}

FrameFiles ResultWriter::WriteRecord(const Frame& frame, FrameRecord& record) {
  const Stopwatch watch;
  FrameFiles files;
  record.masks = DescribeMasks(record.outcome.result);
  if (record.outcome.parts) record.things = FindThings(record.outcome, labels_);
  if (folder_ && record.outcome.result.success) files = Encode(frame, record);
  record.write_ms = watch.Milliseconds();
  if (folder_) {
    folder_->WriteResult(ToJson(record, labels_));
  } else {
    WriteJsonLine(ToJson(record, labels_), destination_, standard_output_);
  }
  return files;
}

FrameFiles ResultWriter::Encode(const Frame& frame, FrameRecord& record) {
  FrameFiles files = Describe(NameOf(frame), record);
  for (auto& [label, mask] : record.masks) {
    if (options_.no_masks) break;
    const cv::Mat& pixels = record.outcome.result.label_masks.at(label);
    files.pictures.push_back(EncodeMask(files.name, label, pixels));
    mask.file = files.pictures.back().name;
  }
  EncodeOverlayOf(frame, files, record);
  return files;
}

FrameFiles ResultWriter::Describe(std::string name, const FrameRecord& record) const {
  FrameFiles files{std::move(name), {}, record.outcome, {}, {}};
  files.outcome.result = ResultInPicture(record.outcome.result, record.fit);
  files.shown = record.things
                    ? ShowThings(*record.things, record.fit)
                    : ShowDetections(record.outcome, files.outcome.result, record.fit, labels_);
  return files;
}

FoundFrame ResultWriter::Found(const Frame& frame, const FrameRecord& record,
                               const FrameFiles& files) const {
  return {frame, record, files.outcome, files.shown, files.name, input_name_, files.overlay};
}

// Videos are made of overlays.
void ResultWriter::EncodeOverlayOf(const Frame& frame, FrameFiles& files, FrameRecord& record) {
  const bool is_for_video = options_.video && frame.kind != InputKind::kPicture;
  if (options_.no_overlays && !is_for_video) return;
  files.overlay = DrawOverlay(*frame.picture, files.shown, labels_);
  if (options_.no_overlays) return;
  files.pictures.push_back(EncodeOverlay(files.name, files.overlay));
  record.overlay = files.pictures.back().name;
}

void ResultWriter::WriteFiles(const Frame& frame, const FrameRecord& record,
                              const FrameFiles& files) {
  if (files.name.empty()) return;
  for (const PendingFile& picture : files.pictures) folder_->Write(picture);
  for (const std::unique_ptr<ResultSink>& sink : sinks_) sink->Write(Found(frame, record, files));
}

// The name of the input, followed by the frame's number if the input is not a picture.
std::string ResultWriter::NameOf(const Frame& frame) {
  if (input_ != frame.input) {
    input_ = frame.input;
    input_name_ = names_.Take(frame.source);
  }
  if (frame.kind == InputKind::kPicture) return input_name_;
  return fmt::format("{}{}{:06}", input_name_, kFrameMark, frame.index);
}

void ResultWriter::EndInput() {
  for (const std::unique_ptr<ResultSink>& sink : sinks_) sink->EndInput();
}

void ResultWriter::WriteSummary(const Summary& summary, const RunEnd& end) {
  if (!folder_) return;
  WriteWholeFile(summary_path_, ToIndentedText(summary.ToJson(labels_, end)));
}

void ResultWriter::Finish(const Summary& summary, const RunEnd& end) {
  if (!folder_) return;
  std::vector<std::string> causes;
  const auto attempt = [&causes](const auto& finish) {
    try {
      finish();
    } catch (const OutputError& error) {
      causes.emplace_back(error.what());
    }
  };
  // One file that fails must not leave the others unfinished.
  for (const std::unique_ptr<ResultSink>& sink : sinks_) attempt([&sink] { sink->Finish(); });
  RunEnd reported = end;
  if (reported.write_error.empty()) reported.write_error = Join(causes, "; ");
  reported.complete = end.complete && causes.empty();
  attempt([&] { WriteSummary(summary, reported); });
  if (!causes.empty()) throw OutputError(Join(causes, "; "));
}

}  // namespace dirty_seg
