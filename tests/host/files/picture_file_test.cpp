// Pictures as files.
#include "files/picture_file.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "base/errors.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

TEST(PictureFile, OfAPictureThatItsFormatCannotHoldIsRefused) {
  const test::TemporaryFolder folder;
  const std::string path = folder / "wide.jpg";
  const cv::Mat wide(1, 65501, CV_8UC3, cv::Scalar(0, 0, 0));
  EXPECT_THAT(test::RejectionOf<InputError>([&] { WritePicture(path, wide); }),
              testing::StartsWith("'" + path + "' cannot be written: "));
}

}  // namespace
}  // namespace dirty_seg
