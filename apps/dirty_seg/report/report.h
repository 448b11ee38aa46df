// Writes results as one self-contained HTML page.
#pragma once

#include <cstddef>
#include <string>

#include "console/progress.h"
#include "report/changes.h"
#include "results/results_reader.h"

namespace dirty_seg {

struct ReportOptions {
  std::string title;  // empty: made from the folder's name
  int max_width = 1600;
  std::size_t max_frames = 200;
  std::string version;  // of the program
  /// The run that the page compares its own with; null for none. Outlives the writing.
  const OtherRun* against = nullptr;
};

struct ReportOutcome {
  std::size_t frames = 0;
  std::size_t pictures = 0;
  std::size_t bytes = 0;
};

/// Writes the page of `results` to the file `path`, which is replaced when the page is complete.
/// `progress` may be null. Throws OutputError with the cause, as Changes does, and
/// InterruptedError; no part of the page is left then.
ReportOutcome WriteReport(const Results& results, const ReportOptions& options,
                          const std::string& path, Progress* progress = nullptr);

}  // namespace dirty_seg
