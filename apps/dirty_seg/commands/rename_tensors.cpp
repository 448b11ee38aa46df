#include "commands/rename_tensors.h"

#include <fmt/format.h>

#include "base/errors.h"
#include "console/messages.h"
#include "files/output_file.h"
#include "networks/tensor_names.h"

namespace dirty_seg {
namespace {

TensorNames ParseNames(const std::vector<std::string>& words) {
  TensorNames names;
  for (const std::string& word : words) {
    const std::size_t sign = word.rfind('=');
    if (sign == std::string::npos || sign == 0 || sign + 1 == word.size()) {
      throw SetupError(fmt::format("{}: expected OLD=NEW, as data=input", word));
    }
    if (!names.emplace(word.substr(0, sign), word.substr(sign + 1)).second) {
      throw SetupError(fmt::format("{}: '{}' is renamed twice", word, word.substr(0, sign)));
    }
  }
  return names;
}

}  // namespace

Command AddRenameTensors(Program& program, RenameTensorsOptions& options) {
  Command command =
      program.AddCommand("rename-tensors", "Give a network's inputs and outputs other names");
  command.AddOption("IN.onnx", &options.input, "Network").Required().TypeName("");
  command.AddOption("OUT.onnx", &options.output, "File to write").Required().TypeName("");
  command.AddOption("OLD=NEW", &options.names, "An input or output, and its new name")
      .Required()
      .TypeName("");
  command.AddFlag("--overwrite", &options.overwrite, "Replace an existing file");
  command.Footer(
      "Example:\n"
      "  dirty_seg rename-tensors fece.onnx renamed.onnx data=input prob=output\n"
      "Exit status: 0 written, 2 cannot be renamed");
  return command;
}

int RunRenameTensors(const RenameTensorsOptions& options) try {
  const TensorNames names = ParseNames(options.names);
  if (!options.overwrite) RefuseToReplace(options.output);
  RenameTensors(options.input, options.output, names);
  PrintMessage(fmt::format("'{}' written", options.output));
  return kAllDone;
} catch (const OutputError& error) {
  throw SetupError(error.what());
}

}  // namespace dirty_seg
