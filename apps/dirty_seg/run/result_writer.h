// Writes results to standard output, or to a folder with all formats that were asked for.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "detector/labels.h"
#include "files/output_folder.h"
#include "files/picture_file.h"
#include "files/result_names.h"
#include "forms/result_sink.h"
#include "frames/frame.h"
#include "results/frame_record.h"
#include "results/summary.h"
#include "run/resumption.h"

namespace dirty_seg {

struct ResultOptions {
  std::string output;  // a folder; empty: standard output
  bool save = false;   // to a numbered folder
  bool overwrite = false;
  bool resume = false;  // an earlier run in the folder
  bool merge = false;   // detections to things
  bool coco = false;
  bool polygons = false;
  bool yolo = false;
  bool crops = false;
  bool video = false;
  bool no_overlays = false;
  bool no_masks = false;  // as pictures; run lengths stay

  bool HasNoFolder() const { return output.empty() && !save; }
};

/// Files of a frame that are still to be written.
struct FrameFiles {
  std::string name;  // empty if there are none, as of a frame that failed
  std::vector<PendingFile> pictures;
  /// Boxes and label masks in the picture's own pixels.
  FrameOutcome outcome;
  Shown shown;
  cv::Mat overlay;  // empty if nothing needs it
};

class ResultWriter {
 public:
  /// `labels` outlives this object, as does `standard_output`. Throws SetupError with the cause,
  /// also where the folder is to be gone on with and its run was not made as `description` says.
  ResultWriter(const ResultOptions& options, const Labels& labels, std::FILE* standard_output,
               const RunDescription& description);

  ResultWriter(const ResultWriter&) = delete;
  ResultWriter& operator=(const ResultWriter&) = delete;

  bool has_folder() const { return folder_.has_value(); }
  /// For messages.
  const std::string& destination() const { return destination_; }

  /// What an earlier run has done, if the folder is gone on with: counts it in `summary`, and gives
  /// it to the other formats. Once, before anything is written. Throws SetupError for results that
  /// cannot be read, and OutputError.
  EarlierResults Restore(Summary& summary);

  /// Names the files of input number `input` as an earlier run did.
  void TakeName(std::size_t input, const std::string& name);

  /// Gives a frame of `earlier` to the formats that need its picture. Throws InputError for a frame
  /// that one of these cannot hold, and OutputError.
  void Redraw(const Frame& frame, const EarlierResults& earlier);

  /// Completes `record` with its masks, the names of its files and the time, and writes it. Throws
  /// InputError for a picture that cannot be drawn, and OutputError.
  FrameFiles WriteRecord(const Frame& frame, FrameRecord& record);

  /// Writes the files that the record names, and the other formats. Throws InputError for a frame
  /// that one of these cannot hold, and OutputError.
  void WriteFiles(const Frame& frame, const FrameRecord& record, const FrameFiles& files);

  /// Completes the files of the input that the last frames were of. Throws OutputError.
  void EndInput();

  /// Writes summary.json, if there is a folder. Throws OutputError with the cause.
  void WriteSummary(const Summary& summary, const RunEnd& end);

  /// Completes all files and writes summary.json. Throws OutputError with the cause.
  void Finish(const Summary& summary, const RunEnd& end);

 private:
  void OpenFolder(const RunDescription& description);
  void AddSinks();
  void RequireRedrawable(const EarlierResults& earlier) const;
  void RestoreFrame(const StoredFrame& stored, EarlierInput& input, Summary& summary);
  FrameFiles Describe(std::string name, const FrameRecord& record) const;
  FoundFrame Found(const Frame& frame, const FrameRecord& record, const FrameFiles& files) const;
  FrameFiles Encode(const Frame& frame, FrameRecord& record);
  void EncodeOverlayOf(const Frame& frame, FrameFiles& files, FrameRecord& record);
  std::string NameOf(const Frame& frame);

  ResultOptions options_;
  const Labels& labels_;
  std::optional<OutputFolder> folder_;
  std::string summary_path_;
  std::optional<Resumption> resumption_;
  std::string destination_;
  std::FILE* standard_output_;
  std::vector<std::unique_ptr<ResultSink>> sinks_;
  UniqueNames names_;
  std::optional<std::size_t> input_;  // that has the name
  std::string input_name_;
};

}  // namespace dirty_seg
