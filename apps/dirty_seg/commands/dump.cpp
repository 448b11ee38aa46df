#include "commands/dump.h"

#include "base/errors.h"
#include "base/version.h"
#include "command_line/checks.h"
#include "commands/options.h"
#include "console/messages.h"
#include "files/run_folder.h"
#include "frames/frame_source.h"
#include "tensors/dump.h"
#include "tensors/staged_frame.h"

namespace dirty_seg {

Command AddDump(Program& program, DumpOptions& options) {
  Command command = program.AddCommand("dump", "Write a frame's tensors as .npy files");
  AddDetectorOptions(command, options.detector);
  AddNamesOption(command, options.detector.names);
  Option output = command.AddOption("--output", &options.output, "Output folder").TypeName("DIR");
  command.AddFlag("--overwrite", &options.overwrite, "Replace an earlier dump in --output DIR")
      .Needs(output);
  command.AddOption("--frame-number", &options.frame_number, "Frame of a video, from 0 (default 0)")
      .Check(NumberFrom<std::int64_t>(0, 1000000000, "a whole number from 0"))
      .TypeName("N");
  command.AddOption("INPUT", &options.input, "Picture, or video").Required().TypeName("");
  AddFitOption(command, options.fit);
  AddLogOptions(command, options.log);
  command.Footer(
      "Without --output, the folder is runs/dump, runs/dump2, ...\n"
      "Example:\n"
      "  dirty_seg dump --model seg.onnx --config patches.yaml --output out floor.jpg\n"
      "Exit status: 0 done, 1 the frame failed,\n"
      "  2 bad usage, network or configuration");
  return command;
}

int RunDump(const DumpOptions& options) {
  SetQuiet(options.log.quiet);
  LogCapture log(options.log);
  const DetectorSetup setup = SetUpDetector(options.detector);
  try {
    const Frame frame = ReadFrame({options.input, "", KindOf(options.input)}, options.frame_number);
    const FrameFit fit = FitToFrame(frame.picture->size(), FitModeOf(options.fit));
    const std::string fault = FindReachFault(setup.patches, fit);
    if (!fault.empty()) throw InputError(fault);
    const StagedFrame staged =
        RunStages(setup.config, options.detector.config, PlaceInFrame(frame.picture, fit), log);
    log.TakeLines();  // to where they are wanted
    std::string folder = options.output;
    if (folder.empty()) {
      folder = MakeNumberedRunFolder("dump");
    } else {
      MakeRunFolder(folder, options.overwrite);
    }
    WriteDump(folder, {NameAndVersion(), frame.source, frame.index, fit}, options.detector, setup,
              staged);
    PrintMessage(NameOf(frame) + ": tensors are in '" + folder + "'");
  } catch (const InputError& error) {
    PrintError("'" + options.input + "': " + error.what());
    return kSomeInputFailed;
  }
  return kAllDone;
}

}  // namespace dirty_seg
