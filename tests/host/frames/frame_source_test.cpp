// Frames out of pictures and videos. A video's frame n is grey of 40 n.
#include "frames/frame_source.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>

#include "support/pictures.h"
#include "support/temporary_folder.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

using testing::ElementsAre;

constexpr double kGreyTolerance = 3.0;  // of JPEG

class FrameSourceTest : public testing::Test {
 protected:
  std::string Video(const std::string& name, int count) {
    std::vector<cv::Mat> frames;
    for (int i = 0; i < count; ++i) {
      frames.push_back(test::Plain({64, 48}, cv::Scalar::all(40.0 * i)));
    }
    return test::WriteVideo(folder_ / name, frames, 12.0);
  }

  std::string Picture(const std::string& name) {
    return test::WritePicture(folder_ / name, test::Plain({8, 8}, test::kRedPixel));
  }

  FrameSource Open(const std::vector<std::string>& arguments, int frame_step = 1,
                   std::optional<std::int64_t> most = std::nullopt) {
    return FrameSource(InputQueue(arguments, {}, no_list_), {{frame_step, {}}, most, std::nullopt});
  }

  static std::vector<Frame> ReadAll(FrameSource source) {
    std::vector<Frame> frames;
    while (std::optional<Frame> frame = source.NextFrame()) frames.push_back(*std::move(frame));
    return frames;
  }

  test::TemporaryFolder folder_;
  std::istringstream no_list_;
};

TEST_F(FrameSourceTest, GivesAVideosFramesInOrder) {
  const std::string path = Video("clip.avi", 5);
  const std::vector<Frame> frames = ReadAll(Open({path}));
  ASSERT_EQ(frames.size(), 5U);
  for (std::size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(frames[i].source, path);
    EXPECT_EQ(frames[i].index, static_cast<std::int64_t>(i));
    EXPECT_EQ(frames[i].failure, "");
    EXPECT_EQ(frames[i].rate, 12.0);
    ASSERT_EQ(frames[i].picture->size(), cv::Size(64, 48));
    EXPECT_NEAR(cv::mean(*frames[i].picture)[0], 40.0 * static_cast<double>(i), kGreyTolerance);
  }
}

TEST_F(FrameSourceTest, PassesOverFramesBetweenSteps) {
  const std::vector<Frame> frames = ReadAll(Open({Video("clip.avi", 6)}, 3));
  ASSERT_EQ(frames.size(), 2U);
  EXPECT_EQ(frames[1].index, 3);
  EXPECT_EQ(frames[1].ordinal, 1U);
  EXPECT_EQ(frames[1].rate, 4.0);
  EXPECT_NEAR(cv::mean(*frames[1].picture)[0], 120.0, kGreyTolerance);
}

TEST_F(FrameSourceTest, TakesNoMoreOfAVideoThanWanted) {
  FrameSource source = Open({Video("clip.avi", 6), Picture("a.png")}, 2, 2);
  EXPECT_EQ(source.NextFrame()->index, 0);
  EXPECT_EQ(source.FrameCount(), 2);
  EXPECT_EQ(source.FramesLeft(), 2);
  EXPECT_EQ(source.NextFrame()->index, 2);
  EXPECT_EQ(source.NextFrame()->input, 1U);
  EXPECT_FALSE(source.NextFrame());
}

TEST_F(FrameSourceTest, TellsHowManyFramesThereAre) {
  FrameSource source = Open({Picture("a.png"), Video("clip.avi", 5), Picture("b.png")}, 2);
  EXPECT_EQ(source.InputCount(), 3U);
  source.NextFrame();
  EXPECT_EQ(source.FrameCount(), 1);
  EXPECT_FALSE(source.FramesLeft());  // a video is still to be opened
  source.NextFrame();
  EXPECT_EQ(source.FrameCount(), 3);  // 0, 2, 4
  EXPECT_EQ(source.FramesLeft(), 3);
}

TEST_F(FrameSourceTest, ReadsACutVideoAsFarAsItGoes) {
  const std::string whole = test::ReadFile(Video("clip.avi", 6));
  const std::string path = folder_.Write("cut.avi", whole.substr(0, whole.size() * 3 / 5));
  const std::vector<Frame> frames = ReadAll(Open({path, Picture("a.png")}));
  ASSERT_GE(frames.size(), 3U);
  const std::size_t read = frames.size() - 2;
  EXPECT_LT(read, 6U);
  EXPECT_EQ(frames[read].failure,
            "ends after " + std::to_string(read) + " of 6 frames; it is cut short or damaged");
  EXPECT_EQ(frames[read].picture, nullptr);
  EXPECT_EQ(frames[read + 1].failure, "");
}

TEST_F(FrameSourceTest, TellsWhatCannotBeReadAndGoesOn) {
  const std::vector<Frame> frames =
      ReadAll(Open({folder_ / "missing.avi", folder_.Write("text.mp4", "no video"), "camera:63",
                    "/dev/video", "camera:-1", Picture("a.png")}));
  std::vector<std::string> failures;
  for (const Frame& frame : frames) failures.push_back(frame.failure);
  EXPECT_THAT(failures, ElementsAre("cannot be opened: No such file or directory",
                                    "is not a video that can be read", "there is no /dev/video63",
                                    "is not a camera; expected /dev/video0 or camera:0",
                                    "is not a camera; expected /dev/video0 or camera:0", ""));
  EXPECT_EQ(frames[5].input, 5U);
}

}  // namespace
}  // namespace dirty_seg
