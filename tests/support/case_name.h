// Names parametrised tests after their parameters.
#pragma once

#include <gtest/gtest.h>

#include <string>

namespace nuvik::test {

/// For INSTANTIATE_TEST_SUITE_P with parameters that have a member `name`.
struct CaseName {
  template <typename Parameter>
  std::string operator()(const testing::TestParamInfo<Parameter>& test) const {
    return test.param.name;
  }
};

}  // namespace nuvik::test
