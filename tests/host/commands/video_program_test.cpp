// The built program on videos, patterns, lists and cameras.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "support/detect_fixture.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::Arguments;
using test::ParseLines;
using test::ProgramResult;
using test::ReadFile;
using test::RunProgram;
using test::operator+;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;

class DetectInputs : public test::DetectFixture {
 protected:
  // Red and green frames in turn, the first one red.
  std::string Video(const std::string& name, int count) {
    std::vector<cv::Mat> frames;
    for (int i = 0; i < count; ++i) {
      frames.push_back(test::Plain(test::kFrame, i % 2 == 0 ? test::kRedPixel : test::kGreenPixel));
    }
    return test::WriteVideo(folder_ / name, frames, 10.0);
  }

  static std::vector<std::string> Sources(const std::string& output) {
    std::vector<std::string> sources;
    for (const json& row : ParseLines(output)) sources.push_back(row["source"]);
    return sources;
  }
};

TEST_F(DetectInputs, OfAVideoAreItsFrames) {
  const std::string clip = Video("clip.avi", 4);
  const ProgramResult result = RunProgram(Command() + Arguments{clip});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  const std::vector<json> rows = ParseLines(result.output);
  ASSERT_EQ(rows.size(), 4U);
  for (std::size_t i = 0; i < rows.size(); ++i) {
    EXPECT_EQ(rows[i]["source"], clip);
    EXPECT_EQ(rows[i]["frame"], i);
    EXPECT_EQ(rows[i]["labels"], i % 2 == 0 ? json({0, 0}) : json({1, 1}));
  }
}

TEST_F(DetectInputs, OfAVideoAreEveryNthFrameOnRequest) {
  const ProgramResult result = RunProgram(
      Command() + Arguments{"--frame-step", "3", "--output", folder_ / "out", Video("a.avi", 5)});
  EXPECT_THAT(result.errors,
              MatchesRegex("video 1/1 \\(frame 1/2\\) .*/a.avi: 1920x1080 2 red, [0-9.]+ms\n"
                           "video 1/1 \\(frame 2/2\\) .*/a.avi: 1920x1080 2 green, [0-9.]+ms\n"
                           "Speed: [0-9.]+ms preprocess, [0-9.]+ms inference, [0-9.]+ms "
                           "postprocess, [0-9.]+ms convert per frame\n"
                           "dirty_seg: 1 of 1 inputs processed; results in .*\n"));
  const std::vector<json> rows = ParseLines(ReadFile(folder_ / "out/results.jsonl"));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[1]["frame"], 3);
  EXPECT_EQ(rows[1]["overlay"], "a.frame_000003.overlay.jpg");
  EXPECT_EQ(rows[1]["label_masks"]["1"]["file"], "a.frame_000003.mask_1.png");
  EXPECT_FALSE(cv::imread(folder_ / "out/a.frame_000003.overlay.jpg").empty());
}

TEST_F(DetectInputs, OfACutVideoAreReadAsFarAsItGoes) {
  const std::string whole = ReadFile(Video("clip.avi", 6));
  const std::string cut = folder_.Write("cut.avi", whole.substr(0, whole.size() * 3 / 5));
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result = RunProgram(Command() + Arguments{cut, red});
  EXPECT_EQ(result.status, 1);
  const std::vector<std::string> sources = Sources(result.output);
  ASSERT_GE(sources.size(), 2U);
  EXPECT_EQ(sources.back(), red);
  EXPECT_EQ(result.errors, "dirty_seg: error: '" + cut + "': ends after " +
                               std::to_string(sources.size() - 1) +
                               " of 6 frames; it is cut short or damaged\n");
}

TEST_F(DetectInputs, ThatCannotBeReadAreNamedAndTheRestIsDone) {
  const std::string text = folder_.Write("text.mp4", "no video");
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result =
      RunProgram(Command() + Arguments{text, "camera:63", folder_ / "*.jpg", red});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "dirty_seg: error: '" + text +
                               "': is not a video that can be read\n"
                               "dirty_seg: error: 'camera:63': there is no /dev/video63\n"
                               "dirty_seg: error: '" +
                               folder_ / "*.jpg" + "': no file matches the pattern\n");
  EXPECT_THAT(Sources(result.output), ElementsAre(red));
}

TEST_F(DetectInputs, ThatAreNoFilesAreRefusedAtOnce) {
  const std::string pipe = folder_ / "pipe.png";
  const std::string clip = folder_ / "pipe.avi";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  ASSERT_EQ(mkfifo(clip.c_str(), 0600), 0);
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result = RunProgram(Command() + Arguments{pipe, clip, "-"}, {}, "",
                                          "/dev/null\n" + pipe + "\n" + red + "\n");
  EXPECT_EQ(result.status, 1);
  const std::string refused =
      "dirty_seg: error: '" + pipe + "': is a named pipe; expected a file\n";
  EXPECT_EQ(result.errors, refused + "dirty_seg: error: '" + clip +
                               "': is a named pipe; expected a file\n"
                               "dirty_seg: error: '/dev/null': is a device; expected a file, or a "
                               "camera as /dev/video0\n" +
                               refused);
  EXPECT_THAT(Sources(result.output), ElementsAre(red));
  const ProgramResult check = RunProgram(
      {"check", folder_ / "config.yaml", "--frame", pipe, "--output", folder_ / "patches.png"});
  EXPECT_EQ(check.status, 2);
  EXPECT_EQ(check.errors, refused);
}

TEST_F(DetectInputs, TellAFramesFailureWithItsNumber) {
  const std::string clip = Video("clip.avi", 3);
  const ProgramResult result =
      RunProgram(Command(test::HostNetwork("seg-fails-on-red")) + Arguments{clip});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: error: '" + clip +
                                       "' frame 2: Dirty seg detection inference status is 5\n"));
  const std::vector<json> rows = ParseLines(result.output);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[1]["success"], true);
  EXPECT_EQ(rows[2]["success"], false);
}

// 240 lines are scaled by 4.5; the second patch lies within 1440 columns.
TEST_F(DetectInputs, FitAVideoOfAnotherSizeAndKeepItsSizeInTheAnnotatedOne) {
  const std::string small =
      test::WriteVideo(folder_ / "small.avi", {3, test::Plain({320, 240}, test::kRedPixel)}, 10.0);
  const ProgramResult result =
      RunProgram(Command() + Arguments{"--output", folder_ / "out", "--video", small});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(result.errors, Not(HasSubstr("warning")));
  const std::vector<json> rows = ParseLines(test::ReadFile(folder_ / "out/results.jsonl"));
  ASSERT_EQ(rows.size(), 3U);
  for (const json& row : rows) {
    EXPECT_EQ(row["fit"], json::parse(R"({"scale": 4.5, "size": [1080, 1440]})"));
    EXPECT_EQ(row["labels"].size(), 2U);
  }
  EXPECT_EQ(test::ReadVideo(folder_ / "out/small.overlay.mp4").frames.at(0).size(),
            cv::Size(320, 240));
}

TEST_F(DetectInputs, ComeFromPatternsFoldersAndLists) {
  folder_.MakeFolder("in/deep");
  const std::string b = Picture("in/b.png", test::kRedPixel, {64, 64});
  const std::string a = Picture("in/a.png", test::kRedPixel, {64, 64});
  const std::string c = Picture("in/deep/c.bmp", test::kRedPixel, {64, 64});
  const auto sources_of = [&](const Arguments& inputs, const std::string& list = "") {
    return Sources(RunProgram(Command() + Arguments{"-q"} + inputs, {}, "", list).output);
  };
  EXPECT_THAT(sources_of({folder_ / "in/*.png"}), ElementsAre(a, b));
  EXPECT_THAT(sources_of({folder_ / "in"}), ElementsAre(a, b));
  EXPECT_THAT(sources_of({"--recursive", folder_ / "in"}), ElementsAre(a, b, c));
  EXPECT_THAT(sources_of({b, "-", b}, a + "\n" + c + "\n"), ElementsAre(b, a, c, b));
}

TEST_F(DetectInputs, AreMissedInAnEmptyList) {
  const ProgramResult result = RunProgram(Command() + Arguments{"-"}, {}, "", "\n");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, "dirty_seg: warning: the list on standard input is empty\n");
}

TEST_F(DetectInputs, AreNotWhatAnEarlierRunWroteBesideThem) {
  folder_.MakeFolder("in");
  const std::string red = Picture("in/red.png", test::kRedPixel);
  for (const char* out : {"in/out", "in"}) {
    const Arguments command = Command() + Arguments{"-q",       "--recursive", "--overwrite",
                                                    "--output", folder_ / out, folder_ / "in"};
    for (int i = 0; i < 2; ++i) EXPECT_EQ(RunProgram(command).status, 0);
    EXPECT_THAT(Sources(ReadFile(folder_ / out + "/results.jsonl")), ElementsAre(red)) << out;
  }
}

}  // namespace
}  // namespace dirty_seg
