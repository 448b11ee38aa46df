// dirty_seg: finds dirty regions in pictures, with the detector library.
#include <malloc.h>

#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "base/errors.h"
#include "base/version.h"
#include "command_line/command_line.h"
#include "command_line/host_option.h"
#include "commands/bench.h"
#include "commands/check.h"
#include "commands/compare.h"
#include "commands/completion.h"
#include "commands/detect.h"
#include "commands/dump.h"
#include "commands/env.h"
#include "commands/help.h"
#include "commands/init.h"
#include "commands/inspect.h"
#include "commands/rename_tensors.h"
#include "commands/report.h"
#include "console/messages.h"
#include "files/text_stream.h"

namespace dirty_seg {
namespace {

// Runs the command that the command line named; returns the exit status.
using Action = std::function<int()>;

template <typename Options>
void Add(Program& program, Command (*add)(Program&, Options&), int (*run)(const Options&),
         Action& action) {
  const auto options = std::make_shared<Options>();
  Command command = add(program, *options);
  command.OnChosen([=, &action] { action = [=] { return run(*options); }; });
  AddHostOption(program, command);
}

// Every frame asks for the same large blocks again. By itself the C library gives each back to the
// system, which clears the pages of the next one anew: a sixth of the time behind the network.
void KeepFreedMemory() {
#ifdef M_MMAP_THRESHOLD  // glibc
  constexpr int kLargestKept = 64 << 20;
  mallopt(M_MMAP_THRESHOLD, kLargestKept);
  mallopt(M_TRIM_THRESHOLD, 4 * kLargestKept);
#endif
}

int Execute(int argc, char** argv) {
  Program program("dirty_seg", "Finds dirty regions in pictures", NameAndVersion());
  program.Footer(
      "Example:\n"
      "  dirty_seg init seg.onnx fece.onnx --fece-class-ids 0,3\n"
      "  dirty_seg detect --host host.yaml --save photographs");
  Action action;
  Add(program, AddBench, RunBenchCommand, action);
  Add(program, AddCheck, RunCheck, action);
  Add(program, AddCompare, RunCompare, action);
  Add(program, AddCompletion, RunCompletion, action);
  Add(program, AddDetect, RunDetect, action);
  Add(program, AddDump, RunDump, action);
  Add(program, AddEnv, RunEnv, action);
  Add(program, AddHelp, RunHelp, action);
  Add(program, AddInit, RunInit, action);
  Add(program, AddInspect, RunInspect, action);
  Add(program, AddRenameTensors, RunRenameTensors, action);
  Add(program, AddReport, RunReport, action);
  if (const std::optional<std::string> text = program.Parse(argc, argv)) {
    PrintResult(*text, "the help");
    return kAllDone;
  }
  return action();
}

}  // namespace
}  // namespace dirty_seg

int main(int argc, char** argv) try {
  dirty_seg::KeepFreedMemory();
  return dirty_seg::Execute(argc, argv);
} catch (const dirty_seg::NetworkError& error) {
  dirty_seg::PrintEngineLine(error.cause());
  dirty_seg::PrintError(error.what());
  return dirty_seg::kCannotRun;
} catch (const std::exception& error) {
  dirty_seg::PrintError(error.what());
  return dirty_seg::kCannotRun;
}
