#include "commands/report.h"

#include <fmt/format.h>

#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "base/errors.h"
#include "base/text.h"
#include "base/version.h"
#include "command_line/checks.h"
#include "commands/options.h"
#include "console/interruption.h"
#include "console/messages.h"
#include "console/progress.h"
#include "files/output_file.h"
#include "report/changes.h"
#include "report/listed_things.h"
#include "report/run_facts.h"
#include "results/results_reader.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;

// A folder as --output gets the page's own name in it.
std::string PagePath(const std::string& output, const std::string& results_folder) {
  if (output.empty()) return (fs::path(results_folder) / "report.html").string();
  std::error_code error;
  return fs::is_directory(output, error) ? (fs::path(output) / "report.html").string() : output;
}

// The bar is gone when this returns.
ReportOutcome Write(const Results& results, const ReportOptions& page, const std::string& path) {
  Progress progress(SteadySeconds, TerminalColumns());
  return WriteReport(results, page, path, &progress);
}

// Also with --overwrite: they could not be recovered.
void RefuseToReplaceResults(const std::string& page, const std::string& results) {
  std::error_code ignored;
  if (fs::equivalent(page, results, ignored)) {
    throw SetupError("'" + page + "' has the results; expected another file for the page");
  }
}

std::optional<OtherRun> ReadOther(const std::string& path) {
  if (path.empty()) return std::nullopt;
  OtherRun other{path, ListThings(ReadResults(path)), std::nullopt};
  other.facts = ReadRunFacts(other.results.folder);
  return other;
}

}  // namespace

Command AddReport(Program& program, ReportCommandOptions& options) {
  Command command = program.AddCommand("report", "Show results as one HTML page");
  command
      .AddOption("--output", &options.output,
                 "Output file (default: report.html next to\nthe results)")
      .TypeName("PAGE.html");
  command.AddFlag("--overwrite", &options.overwrite, "Replace an existing page");
  AddQuietOption(command, options.quiet);
  command.AddOption("--title", &options.page.title, "Heading of the page").TypeName("TEXT");
  command.AddOption("--max-width", &options.page.max_width, "Maximum picture width (default 1600)")
      .Check(NumberFrom(64, 16384, "a number of pixels from 64 to 16384"))
      .TypeName("PIXELS");
  command
      .AddOption("--max-frames", &options.page.max_frames,
                 "Maximum frames with a picture, evenly spread,\nabout 0.3 MB each (default 200)")
      .Check(NumberFrom(0, 100000, "a whole number from 0 to 100000"))
      .TypeName("N");
  command
      .AddOption("--against", &options.against,
                 "Results of another run over the same frames,\nto show what changed")
      .Check(NotEmpty("a folder of results, or a file of them"))
      .TypeName("PATH");
  command.AddOption("RESULTS", &options.results, "Folder of detect's results, or its results.jsonl")
      .Required()
      .TypeName("");
  command.Footer(
      "Example:\n"
      "  dirty_seg report runs/detect --title 'Kitchen, Monday'\n"
      "The page carries all it needs; pictures are read from where detect read them.\n"
      "Exit status:\n"
      "  0 the page is written, 2 bad usage or results, 130 interrupted");
  return command;
}

int RunReport(const ReportCommandOptions& options) try {
  SetQuiet(options.quiet);
  const Interruption interruption;
  const Results results = ListThings(ReadResults(options.results));
  const std::optional<OtherRun> other = ReadOther(options.against);
  const std::string path = PagePath(options.output, results.folder);
  RefuseToReplaceResults(path, results.file);
  if (other) RefuseToReplaceResults(path, other->results.file);
  if (!options.overwrite) RefuseToReplace(path, ", --output names another place");
  ReportOptions page = options.page;
  page.version = Version();
  page.against = other ? &*other : nullptr;
  const ReportOutcome outcome = Write(results, page, path);
  PrintMessage(fmt::format("{}, {} with {} picture; page of {:.1f} MB in '{}'",
                           Counted(outcome.frames, "frame"), outcome.pictures,
                           outcome.pictures == 1 ? "its" : "their",
                           static_cast<double>(outcome.bytes) / 1e6, path));
  return kAllDone;
} catch (const InterruptedError& error) {
  PrintMessage(std::string(error.what()) + ": no page is written");
  return kInterrupted;
}

}  // namespace dirty_seg
