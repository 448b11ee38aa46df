// Where results go: standard output, or a folder with all that was asked for.
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/frame_record.h"
#include "host/frame_source.h"
#include "host/labels.h"
#include "host/output.h"
#include "host/result_sink.h"
#include "host/summary.h"

namespace dirty_seg {

struct ResultOptions {
  std::string output;  // a folder; empty: standard output
  bool save = false;   // to a numbered folder
  bool overwrite = false;
  bool coco = false;
  bool polygons = false;
  bool yolo = false;
  bool crops = false;
  bool video = false;

  bool HasNoFolder() const { return output.empty() && !save; }
};

class ResultWriter {
 public:
  /// `labels` outlives this object, as does `standard_output`. Throws SetupError with the cause.
  ResultWriter(const ResultOptions& options, const Labels& labels, std::FILE* standard_output);

  ResultWriter(const ResultWriter&) = delete;
  ResultWriter& operator=(const ResultWriter&) = delete;

  bool has_folder() const { return folder_.has_value(); }
  /// For messages.
  const std::string& destination() const { return destination_; }

  /// Completes `record` by its masks, the names of its files and the time, and writes it. Throws
  /// InputError with the cause.
  void Write(const Frame& frame, FrameRecord& record);

  /// Completes all files and writes summary.json. Throws InputError with the cause.
  void Finish(const Summary& summary, bool interrupted);

 private:
  void AddSinks(const ResultOptions& options);
  void WritePictures(const Frame& frame, FrameRecord& record);
  std::string NameOf(const Frame& frame);

  const Labels& labels_;
  std::optional<OutputFolder> folder_;
  std::string destination_;
  std::FILE* results_;
  std::vector<std::unique_ptr<ResultSink>> sinks_;
  UniqueNames names_;
  std::optional<std::size_t> input_;  // that has the name
  std::string input_name_;
};

}  // namespace dirty_seg
