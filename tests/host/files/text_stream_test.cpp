// JSON lines on a stream.
#include "files/text_stream.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "base/errors.h"
#include "support/rejection.h"

namespace dirty_seg {
namespace {

TEST(TextStream, OnAFullDeviceIsRefusedWithTheCause) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(test::RejectionOf<OutputError>([&] { WriteJsonLine({}, "standard output", full); }),
            "the result cannot be written to standard output: No space left on device");
  std::fclose(full);
}

}  // namespace
}  // namespace dirty_seg
