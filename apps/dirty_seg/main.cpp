// dirty_seg: finds dirty regions in pictures, with the detector library.
#include <CLI/CLI.hpp>
#include <exception>

#include "commands/detect.h"
#include "host/errors.h"
#include "host/messages.h"

int main(int argc, char** argv) {
  using namespace dirty_seg;
  CLI::App app("Finds dirty regions in pictures");
  app.set_version_flag("--version", "dirty_seg " DIRTY_SEG_VERSION);
  app.require_subcommand(1);
  DetectOptions detect_options;
  const CLI::App* detect = AddDetect(app, detect_options);
  try {
    app.parse(argc, argv);
    if (detect->parsed()) return RunDetect(detect_options);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kAllDone : kCannotRun;  // help and version come here too
  } catch (const std::exception& error) {
    TellError(error.what());
  }
  return kCannotRun;
}
