// What a call says when it refuses.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace dirty_seg::test {

/// Text of the `Error` that `call` throws; a failed expectation when it throws none.
template <typename Error, typename Call>
std::string RejectionOf(Call&& call) {
  try {
    std::forward<Call>(call)();
  } catch (const Error& error) {
    return error.what();
  }
  ADD_FAILURE() << "nothing was rejected";
  return "";
}

}  // namespace dirty_seg::test
