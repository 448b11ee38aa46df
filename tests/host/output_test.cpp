// The output folder, the names of its files, and JSON lines.
#include "host/output.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "host/errors.h"
#include "support/pictures.h"
#include "support/rejection.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using test::ReadFile;

TEST(UniqueNames, AreTheStems) {
  UniqueNames names;
  EXPECT_EQ(names.Take("pictures/street.png"), "street");
  EXPECT_EQ(names.Take("floor.2.jpg"), "floor.2");
}

TEST(UniqueNames, CountUpWhereAStemComesAgain) {
  UniqueNames names;
  EXPECT_EQ(names.Take("a/street.png"), "street");
  EXPECT_EQ(names.Take("b/street.jpg"), "street-2");
  EXPECT_EQ(names.Take("b/street.jpg"), "street-3");
}

TEST(UniqueNames, DoNotMeetAStemThatLooksCounted) {
  UniqueNames names;
  EXPECT_EQ(names.Take("street-2.png"), "street-2");
  EXPECT_EQ(names.Take("street.png"), "street");
  EXPECT_EQ(names.Take("street.jpg"), "street-3");
}

class Output : public testing::Test {
 protected:
  test::TemporaryFolder folder_;
};

TEST_F(Output, MakesFoldersAndAnEmptyResultsFile) {
  const std::string path = folder_ / "a/b";
  const OutputFolder output(path, false);
  EXPECT_EQ(output.results_path(), path + "/results.jsonl");
  EXPECT_TRUE(std::filesystem::is_regular_file(path + "/results.jsonl"));
}

TEST_F(Output, ReplacesAnOlderResultsFileOnlyWhenTold) {
  folder_.Write("results.jsonl", "old");
  test::RejectionOf<SetupError>([&] { OutputFolder(folder_.path(), false); });
  EXPECT_EQ(ReadFile(folder_ / "results.jsonl"), "old");
  const OutputFolder output(folder_.path(), true);
  EXPECT_EQ(ReadFile(folder_ / "results.jsonl"), "");
}

TEST_F(Output, ShowsEachLineAtOnce) {
  const OutputFolder output(folder_.path(), false);
  output.WriteResult({{"a", 1}});
  EXPECT_EQ(ReadFile(output.results_path()), "{\"a\":1}\n");
  output.WriteResult({{"b", "line\nbreak"}});
  EXPECT_EQ(ReadFile(output.results_path()), "{\"a\":1}\n{\"b\":\"line\\nbreak\"}\n");
}

TEST_F(Output, ReplacesBytesThatAreNoUtf8) {
  const OutputFolder output(folder_.path(), false);
  output.WriteResult({{"source", "a\xff.png"}});
  EXPECT_EQ(ReadFile(output.results_path()), "{\"source\":\"a\xef\xbf\xbd.png\"}\n");
}

TEST_F(Output, OnAFullDeviceIsRefusedWithTheCause) {
  std::FILE* full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  EXPECT_EQ(test::RejectionOf<OutputError>([&] { WriteJsonLine({}, "standard output", full); }),
            "the result cannot be written to standard output: No space left on device");
  std::fclose(full);
}

TEST_F(Output, UnderAFileIsRefusedWithTheCause) {
  const std::string path = folder_.Write("file", "") + "/out";
  EXPECT_EQ(test::RejectionOf<SetupError>([&] { OutputFolder(path, false); }),
            "--output '" + path + "': the folder cannot be made: Not a directory");
}

TEST_F(Output, WithAFolderInTheResultsPlaceIsRefusedWithTheCause) {
  const std::string results = folder_.MakeFolder("results.jsonl");
  EXPECT_EQ(
      test::RejectionOf<SetupError>([&] { OutputFolder(folder_.path(), true); }),
      "--output '" + folder_.path() + "': '" + results + "' cannot be written: Is a directory");
}

TEST_F(Output, WritesAMaskAs0And255) {
  const OutputFolder output(folder_.path(), false);
  cv::Mat mask = cv::Mat::zeros(4, 6, CV_8UC1);
  mask.at<unsigned char>(1, 2) = 1;
  mask.at<unsigned char>(3, 5) = 255;
  const PendingFile file = EncodeMask("street", 19, mask);
  EXPECT_EQ(file.name, "street.mask_19.png");
  output.Write(file);
  const cv::Mat read = cv::imread(folder_ / "street.mask_19.png", cv::IMREAD_UNCHANGED);
  ASSERT_EQ(read.type(), CV_8UC1);
  ASSERT_EQ(read.size(), mask.size());
  EXPECT_EQ(cv::countNonZero(read != (mask != 0)), 0);
}

TEST_F(Output, WritesTheOverlayAsJpeg) {
  const OutputFolder output(folder_.path(), false);
  const PendingFile file = EncodeOverlay("street", test::Plain({64, 48}, test::kRedPixel));
  EXPECT_EQ(file.name, "street.overlay.jpg");
  output.Write(file);
  const std::string bytes = ReadFile(folder_ / "street.overlay.jpg");
  EXPECT_EQ(bytes.substr(0, 3), "\xff\xd8\xff");
  EXPECT_EQ(cv::imread(folder_ / "street.overlay.jpg").size(), cv::Size(64, 48));
}

TEST_F(Output, OfAPictureThatItsFormatCannotHoldIsRefused) {
  const std::string path = folder_ / "wide.jpg";
  const cv::Mat wide(1, 65501, CV_8UC3, cv::Scalar(0, 0, 0));
  EXPECT_THAT(test::RejectionOf<InputError>([&] { WritePicture(path, wide); }),
              testing::StartsWith("'" + path + "' cannot be written: "));
}

TEST_F(Output, WritesJsonForReading) {
  const OutputFolder output(folder_.path(), false);
  output.WriteJson("summary.json", {{"inputs", 1}, {"name", "a\xff"}});
  EXPECT_EQ(ReadFile(folder_ / "summary.json"),
            "{\n  \"inputs\": 1,\n  \"name\": \"a\xef\xbf\xbd\"\n}\n");
}

TEST_F(Output, OfAPictureWithAFolderInItsPlaceIsRefused) {
  const OutputFolder output(folder_.path(), false);
  const std::string path = folder_.MakeFolder("street.overlay.jpg");
  EXPECT_EQ(test::RejectionOf<OutputError>([&] {
              output.Write(EncodeOverlay("street", test::Plain({8, 8}, test::kRedPixel)));
            }),
            "'" + path + "' cannot be written: Is a directory");
}

}  // namespace
}  // namespace dirty_seg
