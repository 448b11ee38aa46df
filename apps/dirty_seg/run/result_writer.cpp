#include "run/result_writer.h"

#include <fmt/format.h>

#include <array>
#include <memory>
#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "base/stopwatch.h"
#include "base/text.h"
#include "drawing/overlay.h"
#include "files/run_folder.h"
#include "files/text_stream.h"
#include "media/media.h"

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
                           std::FILE* standard_output)
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
  if (options.save) {
    folder_.emplace(MakeNumberedRunFolder("detect"), true);
  } else {
    folder_.emplace(options.output, options.overwrite);
  }
  destination_ = fmt::format("'{}'", folder_->results_path());
  AddSinks(options);
}

void ResultWriter::AddSinks(const ResultOptions& options) {
  for (const Form& form : kForms) {
    if (options.*form.is_on) sinks_.push_back(form.make(*folder_, labels_));
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
  FrameFiles files{NameOf(frame), {}, record.outcome, {}, {}};
  files.outcome.result = ResultInPicture(record.outcome.result, record.fit);
  files.shown = record.things
                    ? ShowThings(*record.things, record.fit)
                    : ShowDetections(record.outcome, files.outcome.result, record.fit, labels_);
  for (auto& [label, mask] : record.masks) {
    if (options_.no_masks) break;
    const cv::Mat& pixels = record.outcome.result.label_masks.at(label);
    files.pictures.push_back(EncodeMask(files.name, label, pixels));
    mask.file = files.pictures.back().name;
  }
  EncodeOverlayOf(frame, files, record);
  return files;
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
  const FoundFrame found{frame,      record,      files.outcome, files.shown,
                         files.name, input_name_, files.overlay};
  for (const std::unique_ptr<ResultSink>& sink : sinks_) sink->Write(found);
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
  attempt([&] { folder_->WriteJson(kSummaryFile, summary.ToJson(labels_, reported)); });
  if (!causes.empty()) throw OutputError(Join(causes, "; "));
}

}  // namespace dirty_seg
