#include "support/program.h"

#include <sys/wait.h>

#include <cstdlib>

#include "support/temporary_folder.h"

namespace dirty_seg::test {
namespace {

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? "'\\''" : std::string(1, c);
  return quoted + "'";
}

}  // namespace

ProgramResult RunProgram(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& variables, const std::string& output_file,
                         const std::string& input) {
  const TemporaryFolder folder;
  const std::string captured = folder / "output";
  std::string command = "env -u SPDLOG_STDOUT -u SPDLOG_SYSTEMD -u SPDLOG_LEVEL";
  for (const std::string& variable : variables) command += " " + Quoted(variable);
  // A cross build's program runs under the emulator that CMake was given.
  command += std::string(" ") + DIRTY_SEG_LAUNCHER + " " + Quoted(DIRTY_SEG_PROGRAM);
  for (const std::string& argument : arguments) command += " " + Quoted(argument);
  command += " >" + Quoted(output_file.empty() ? captured : output_file);
  command += " 2>" + Quoted(folder / "errors") + " <" + Quoted(folder.Write("input", input));
  const int status = std::system(command.c_str());
  ProgramResult result;
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  result.output = ReadFile(captured);
  result.errors = ReadFile(folder / "errors");
  return result;
}

}  // namespace dirty_seg::test
