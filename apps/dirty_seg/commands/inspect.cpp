#include "commands/inspect.h"

#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "command_line/checks.h"
#include "commands/options.h"
#include "console/messages.h"
#include "files/json_text.h"
#include "files/result_names.h"
#include "files/text_stream.h"
#include "networks/config_code.h"
#include "networks/network_report.h"

namespace dirty_seg {
namespace {

std::string AsText(const std::vector<NetworkReport>& reports) {
  std::string text;
  for (const NetworkReport& report : reports) {
    text += (text.empty() ? "" : "\n") + ReportText(report);
  }
  return text;
}

std::string AsJson(const std::vector<NetworkReport>& reports) {
  nlohmann::ordered_json list = nlohmann::ordered_json::array();
  for (const NetworkReport& report : reports) list.push_back(ReportJson(report));
  return ToIndentedText(list);
}

// Nothing for a network without a configuration.
std::string AsCpp(const std::vector<NetworkReport>& reports) {
  UniqueNames names;
  std::string code;
  for (const NetworkReport& report : reports) {
    if (report.config() == nullptr) continue;
    const std::string name = VariableName(names.Take(report.path));
    code += "// " + report.Role() + "\n" + ConfigCpp(*report.config(), name);
  }
  return code;
}

std::string AsYaml(const std::vector<NetworkReport>& reports) {
  std::string text;
  for (const NetworkReport& report : reports) {
    if (report.config() == nullptr) continue;
    text += "---  # " + report.Role() + "\n" + ConfigYaml(*report.config());
  }
  return text;
}

std::string Written(const std::vector<NetworkReport>& reports, const std::string& format) {
  if (format == "json") return AsJson(reports);
  if (format == "cpp") return AsCpp(reports);
  if (format == "yaml") return AsYaml(reports);
  return AsText(reports);
}

}  // namespace

Command AddInspect(Program& program, InspectOptions& options) {
  Command command = program.AddCommand("inspect", "Show what networks are and can serve as");
  command
      .AddOption("--format", &options.format,
                 "Default text; cpp and yaml are only the\nAIEngineConfig, to paste")
      .Check(OneOf({"text", "json", "cpp", "yaml"}))
      .TypeName("text|json|cpp|yaml");
  command
      .AddOption("--batch", &options.batch,
                 "Patches, for a network whose batch is 1 or open\n(default 1)")
      .Check(NumberFrom(1, 1024, "a whole number from 1 to 1024"))
      .TypeName("N");
  AddThreadsOption(command, options.threads);
  command.AddOption("MODEL", &options.models, "ONNX files").Required().TypeName("");
  command.Footer(
      "Example:\n"
      "  dirty_seg inspect seg.onnx fece.onnx\n"
      "Exit status:\n"
      "  0 all can be read, 1 some cannot, 2 none can, or bad usage");
  return command;
}

int RunInspect(const InspectOptions& options) {
  std::vector<NetworkReport> reports;
  std::size_t faults = 0;
  for (const std::string& model : options.models) {
    reports.push_back(
        InspectNetwork(model, static_cast<std::size_t>(options.batch), options.threads));
    if (reports.back().fault.empty()) continue;
    PrintError("'" + model + "': " + reports.back().fault);
    ++faults;
  }
  PrintResult(Written(reports, options.format), "the description");
  if (faults == 0) return kAllDone;
  return faults == reports.size() ? kCannotRun : kSomeInputFailed;
}

}  // namespace dirty_seg
