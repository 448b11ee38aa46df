// dirty_seg: finds dirty regions in pictures, with the detector library.
#include <CLI/CLI.hpp>
#include <exception>
#include <string>

#include "commands/detect.h"
#include "host/errors.h"
#include "host/messages.h"

namespace dirty_seg {
namespace {

int Execute(int argc, char** argv) {
  CLI::App app("Finds dirty regions in pictures", "dirty_seg");
  app.set_version_flag("--version", "dirty_seg " DIRTY_SEG_VERSION);
  app.require_subcommand(1);
  DetectOptions detect_options;
  AddDetect(app, detect_options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) return app.exit(error);  // help or version
    TellError(std::string(error.what()) + "; 'dirty_seg detect --help' shows the usage");
    return kCannotRun;
  }
  return RunDetect(detect_options);
}

}  // namespace
}  // namespace dirty_seg

int main(int argc, char** argv) try {
  return dirty_seg::Execute(argc, argv);
} catch (const std::exception& error) {
  dirty_seg::TellError(error.what());
  return dirty_seg::kCannotRun;
}
