#include "commands/dump.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <opencv2/core.hpp>

#include "commands/options.h"
#include "host/dump.h"
#include "host/errors.h"
#include "host/inputs.h"
#include "host/log_capture.h"
#include "host/messages.h"
#include "host/run_folder.h"
#include "host/staged_frame.h"

namespace dirty_seg {

CLI::App* AddDump(CLI::App& app, DumpOptions& options) {
  CLI::App* command = app.add_subcommand("dump", "Write a frame's tensors as .npy files");
  AddDetectorOptions(*command, options.detector);
  CLI::Option* output =
      command->add_option("--output", options.output, "For the files")->type_name("DIR");
  command->add_flag("--overwrite", options.overwrite, "--output DIR need not be empty")
      ->needs(output);
  command->add_option("INPUT", options.input, "A picture")->required()->type_name("");
  command->footer(
      "Without --output, the folder is runs/dump, runs/dump2, ...\n"
      "Example:\n"
      "  dirty_seg dump --model seg.onnx --config patches.yaml --output out floor.jpg\n"
      "Exit status: 0 done, 1 the picture failed,\n"
      "  2 bad usage, network or configuration");
  return command;
}

int RunDump(const DumpOptions& options) {
  LogCapture log;
  const DetectorSetup setup = SetUpDetector(options.detector);
  try {
    const auto picture = std::make_shared<cv::Mat>(ReadPicture(options.input));
    const StagedFrame frame = RunStages(setup.config, picture, log);
    std::string folder = options.output;
    if (folder.empty()) {
      folder = MakeNumberedRunFolder("dump");
    } else {
      MakeRunFolder(folder, options.overwrite);
    }
    WriteDump(folder, {"dirty_seg " DIRTY_SEG_VERSION, options.input, picture->size()},
              options.detector, setup, frame);
    Tell("'" + options.input + "': tensors are in '" + folder + "'");
  } catch (const InputError& error) {
    TellError("'" + options.input + "': " + error.what());
    return kSomeInputFailed;
  }
  return kAllDone;
}

}  // namespace dirty_seg
