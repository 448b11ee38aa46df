// What a call writes to standard error.
#pragma once

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace nuvik::test {

/// Runs `call` and returns the lines that it wrote to standard error.
template <typename Call>
std::vector<std::string> StandardErrorOf(Call&& call) {
  testing::internal::CaptureStderr();
  std::forward<Call>(call)();
  std::istringstream text(testing::internal::GetCapturedStderr());
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

/// Text of the std::invalid_argument that `call` throws; a failed expectation when it throws none.
template <typename Call>
std::string RejectionOf(Call&& call) {
  try {
    std::forward<Call>(call)();
  } catch (const std::invalid_argument& error) {
    return error.what();
  }
  ADD_FAILURE() << "nothing was rejected";
  return "";
}

}  // namespace nuvik::test
