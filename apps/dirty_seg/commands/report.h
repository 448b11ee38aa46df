// The command `report`: results in, one HTML page out.
#pragma once

#include <string>

#include "command_line/command_line.h"
#include "report/report.h"

namespace dirty_seg {

struct ReportCommandOptions {
  std::string results;
  std::string against;  // empty: the page compares with no other run
  std::string output;   // empty: report.html in the results' folder
  bool overwrite = false;
  bool quiet = false;
  ReportOptions page;
};

/// Adds the command to `program`; parsing fills `options`, which outlives `program`.
Command AddReport(Program& program, ReportCommandOptions& options);

/// Returns the exit status. Throws SetupError when results cannot be read or the page not written.
int RunReport(const ReportCommandOptions& options);

}  // namespace dirty_seg
