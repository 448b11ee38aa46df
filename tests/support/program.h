// Runs the built program.
#pragma once

#include <string>
#include <vector>

namespace dirty_seg::test {

struct ProgramResult {
  int status = -1;  // exit status; -1 for a program that a signal ended
  std::string output;
  std::string errors;
};

/// Runs `dirty_seg ARGUMENTS` with `variables` ("NAME=value") as the only SPDLOG_ variables. A
/// path in `output_file` takes the place of the captured standard output. Standard input is
/// `input`.
ProgramResult RunProgram(const std::vector<std::string>& arguments,
                         const std::vector<std::string>& variables = {},
                         const std::string& output_file = "", const std::string& input = "");

}  // namespace dirty_seg::test
