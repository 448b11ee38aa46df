#include "host/result_writer.h"

#include <array>
#include <utility>

#include "host/errors.h"
#include "host/overlay.h"
#include "host/run_folder.h"
#include "host/stopwatch.h"

namespace dirty_seg {
namespace {

void RequireNoSink(const ResultOptions& options) {
  for (const auto& [is_on, name] :
       {std::pair(options.coco, "--coco"), std::pair(options.polygons, "--polygons"),
        std::pair(options.yolo, "--yolo"), std::pair(options.crops, "--crops"),
        std::pair(options.video, "--video")}) {
    if (is_on) {
      throw SetupError(std::string(name) +
                       " writes into a folder; expected --output DIR or --save");
    }
  }
}

}  // namespace

ResultWriter::ResultWriter(const ResultOptions& options, const Labels& labels,
                           std::FILE* standard_output)
    : labels_(labels), destination_("standard output"), results_(standard_output) {
  if (options.HasNoFolder()) {
    RequireNoSink(options);
    return;
  }
  if (options.save) {
    folder_.emplace(MakeNumberedRunFolder("detect"), true);
  } else {
    folder_.emplace(options.output, options.overwrite);
  }
  destination_ = "'" + folder_->results_path() + "'";
  results_ = folder_->results();
  AddSinks(options);
}

void ResultWriter::AddSinks(const ResultOptions& options) {
  if (options.coco) sinks_.push_back(MakeCocoSink(*folder_, labels_));
  if (options.polygons) sinks_.push_back(MakePolygonSink(*folder_, labels_));
  if (options.yolo) sinks_.push_back(MakeYoloSink(*folder_, labels_));
  if (options.crops) sinks_.push_back(MakeCropSink(*folder_));
  if (options.video) sinks_.push_back(MakeVideoSink(*folder_));
}

void ResultWriter::Write(const Frame& frame, FrameRecord& record) {
  const Stopwatch watch;
  const DirtyStatusResultData& result = record.outcome.result;
  record.masks = DescribeMasks(result);
  if (folder_ && result.success) WritePictures(frame, record);
  record.write_ms = watch.Milliseconds();
  WriteJsonLine(ToJson(record, labels_), destination_, results_);
}

void ResultWriter::WritePictures(const Frame& frame, FrameRecord& record) {
  const std::string name = NameOf(frame);
  for (auto& [label, mask] : record.masks) {
    mask.file = folder_->WriteMask(name, label, record.outcome.result.label_masks.at(label));
  }
  FrameOutcome shown = record.outcome;
  shown.result = ResultInPicture(record.outcome.result, record.fit);
  const cv::Mat overlay = DrawOverlay(*frame.picture, shown, labels_);
  record.overlay = folder_->WriteOverlay(name, overlay);
  const FoundFrame found{frame, record, shown, name, input_name_, overlay};
  for (const std::unique_ptr<ResultSink>& sink : sinks_) sink->Write(found);
}

// That of the input, with the frame's number behind it where the input has more than one.
std::string ResultWriter::NameOf(const Frame& frame) {
  if (input_ != frame.input) {
    input_ = frame.input;
    input_name_ = names_.Take(frame.source);
  }
  if (frame.kind == InputKind::kPicture) return input_name_;
  std::array<char, 32> number{};
  std::snprintf(number.data(), number.size(), "%06lld", static_cast<long long>(frame.index));
  return input_name_ + std::string(kFrameMark) + number.data();
}

void ResultWriter::Finish(const Summary& summary, bool interrupted) {
  if (!folder_) return;
  std::string causes;
  const auto attempt = [&causes](const auto& finish) {
    try {
      finish();
    } catch (const InputError& error) {
      causes += (causes.empty() ? "" : "; ") + std::string(error.what());
    }
  };
  // What one file fails of is no reason to leave the others as they are.
  for (const std::unique_ptr<ResultSink>& sink : sinks_) attempt([&sink] { sink->Finish(); });
  attempt([&] { folder_->WriteJson(kSummaryFile, summary.ToJson(labels_, interrupted)); });
  if (!causes.empty()) throw InputError(causes);
}

}  // namespace dirty_seg
