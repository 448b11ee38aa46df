#include "commands/env.h"

#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "base/version.h"
#include "commands/options.h"
#include "detector/environment_report.h"
#include "files/json_text.h"
#include "files/text_stream.h"

namespace dirty_seg {

Command AddEnv(Program& program, EnvOptions& options) {
  Command command = program.AddCommand("env", "Show versions, processor, threads, log settings");
  AddThreadsOption(command, options.threads);
  command.AddFlag("--json", &options.json, "Write JSON");
  command.Footer(
      "Example:\n"
      "  SPDLOG_LEVEL=debug dirty_seg env --threads 2\n"
      "Exit status:\n"
      "  0, or 2 for bad usage");
  return command;
}

int RunEnv(const EnvOptions& options) {
  // For libraries that do not report their own, those that the program was built with.
  const nlohmann::ordered_json versions{{"dirty_seg", Version()},
                                        {"yaml-cpp", DIRTY_SEG_YAML_CPP_VERSION},
                                        {"spdlog", DIRTY_SEG_SPDLOG_VERSION},
                                        {"CLI11", DIRTY_SEG_CLI11_VERSION}};
  const nlohmann::ordered_json environment = EnvironmentJson(versions, options.threads);
  const std::string text =
      options.json ? ToIndentedText(environment) : EnvironmentText(environment);
  PrintResult(text, "the environment");
  return kAllDone;
}

}  // namespace dirty_seg
