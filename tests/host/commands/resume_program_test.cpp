// The built program going on with a run: what it takes up, repairs and refuses. Runs that are
// killed are in run/resume_test.py.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/detect_fixture.h"
#include "support/running_program.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::Arguments;
using test::ProgramResult;
using test::ReadFile;
using test::RunProgram;
using test::operator+;
using testing::EndsWith;
using testing::HasSubstr;

class Resume : public test::DetectFixture {
 protected:
  Arguments Into(const Arguments& more = {}) {
    return Command() + Arguments{"--output", folder_ / "out"} + more;
  }
  Arguments Again(const Arguments& more = {}) { return Into(Arguments{"--resume"} + more); }

  json Summary() { return json::parse(ReadFile(folder_ / "out/summary.json")); }
  std::vector<json> Rows() { return test::ParseLines(ReadFile(folder_ / "out/results.jsonl")); }

  // As a run leaves it that is killed when it has written so much of its results.
  void CutResults(std::size_t lines, const std::string& rest = "") {
    const std::string text = ReadFile(folder_ / "out/results.jsonl");
    std::size_t end = 0;
    for (std::size_t i = 0; i < lines; ++i) end = text.find('\n', end) + 1;
    folder_.Write("out/results.jsonl", text.substr(0, end) + rest);
    json summary = Summary();
    summary["complete"] = false;
    folder_.Write("out/summary.json", summary.dump());
  }

  const std::string a_ = Picture("a.png", test::kRedPixel);
  const std::string b_ = Picture("b.png", test::kGreenPixel);
  const std::string c_ = Picture("c.png", test::kRedPixel);
};

TEST_F(Resume, BeginsWhereThereIsNothing) {
  ASSERT_EQ(RunProgram(Again({a_})).status, 0);
  EXPECT_EQ(Rows().size(), 1U);
  folder_.MakeFolder("new");
  EXPECT_EQ(RunProgram(Command() + Arguments{"--output", folder_ / "new", "--resume", a_}).status,
            0);
  // A run that was killed before its first line.
  folder_.Write("new/results.jsonl", "");
  std::filesystem::remove(folder_ / "new/summary.json");
  EXPECT_EQ(RunProgram(Command() + Arguments{"--output", folder_ / "new", "--resume", a_}).status,
            0);
  EXPECT_EQ(json::parse(ReadFile(folder_ / "new/summary.json"))["frames"], 1);
}

TEST_F(Resume, DoesNotReadPicturesThatAreDone) {
  ASSERT_EQ(RunProgram(Into({a_, b_, c_})).status, 0);
  CutResults(2, "{\"source\": \"");
  std::filesystem::remove(a_);
  const ProgramResult result = RunProgram(Again({a_, b_, c_}));
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, HasSubstr("going on with '" + folder_ / "out/results.jsonl" +
                                       "', which has 2 frames of 2 inputs\n"));
  EXPECT_THAT(result.errors, HasSubstr("3 of 3 inputs processed"));
  const std::vector<json> rows = Rows();
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0]["source"], a_);
  EXPECT_EQ(rows[2]["source"], c_);
  EXPECT_EQ(Summary()["frames"], 3);
  EXPECT_EQ(Summary()["inputs"], 3);
  EXPECT_EQ(Summary()["detections"], json({{"0", 4}, {"1", 2}}));
  EXPECT_EQ(Summary()["complete"], true);
}

// Its files may be missing.
TEST_F(Resume, DoesTheLastWholeLineAgain) {
  ASSERT_EQ(RunProgram(Into({a_, b_})).status, 0);
  CutResults(2);
  std::filesystem::remove(folder_ / "out/b.overlay.jpg");
  ASSERT_EQ(RunProgram(Again({a_, b_})).status, 0);
  EXPECT_EQ(Rows().size(), 2U);
  EXPECT_TRUE(std::filesystem::exists(folder_ / "out/b.overlay.jpg"));
}

TEST_F(Resume, DoesAllAgainFromTheFirstFrameThatLacksAFile) {
  ASSERT_EQ(RunProgram(Into({a_, b_, c_})).status, 0);
  CutResults(3);
  folder_.Write("out/b.mask_1.png", "");
  EXPECT_THAT(RunProgram(Again({a_, b_, c_})).errors, HasSubstr("has 1 frame of 1 input\n"));
  EXPECT_GT(std::filesystem::file_size(folder_ / "out/b.mask_1.png"), 0U);
  EXPECT_EQ(Rows().size(), 3U);
}

TEST_F(Resume, AddsInputsToACompleteRun) {
  ASSERT_EQ(RunProgram(Into({a_})).status, 0);
  std::filesystem::remove(a_);
  const ProgramResult result = RunProgram(Again({a_, b_}));
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, HasSubstr("has 1 frame of 1 input\n"));
  EXPECT_EQ(Rows().size(), 2U);
}

TEST_F(Resume, KeepsWhatIsThereOfInputsThatAreNotGivenAgain) {
  ASSERT_EQ(RunProgram(Into({"--coco", a_, b_})).status, 0);
  ASSERT_EQ(RunProgram(Again({"--coco", c_})).status, 0);
  EXPECT_EQ(Rows().size(), 3U);
  EXPECT_EQ(Summary()["inputs"], 3);
  EXPECT_EQ(json::parse(ReadFile(folder_ / "out/coco_images.json"))["images"].size(), 3U);
}

TEST_F(Resume, KeepsTheFailuresThatNoLineTells) {
  const std::string clip =
      test::WriteVideo(folder_ / "clip.avi",
                       std::vector<cv::Mat>(40, test::Plain({320, 240}, test::kRedPixel)), 10.0);
  const std::string data = ReadFile(clip);
  folder_.Write("clip.avi", data.substr(0, data.size() / 2));
  ASSERT_EQ(RunProgram(Into({clip, a_, b_})).status, 1);
  const json failures = Summary()["failures"];
  ASSERT_EQ(failures.size(), 1U);
  CutResults(Rows().size());
  std::filesystem::remove(clip);
  EXPECT_EQ(RunProgram(Again({clip, a_, b_})).status, 1);
  EXPECT_EQ(Summary()["failures"], failures);
  EXPECT_EQ(Summary()["failed"], 1);
}

TEST_F(Resume, KeepsTheseOfARunThatWasKilled) {
  const std::string clip =
      test::WriteVideo(folder_ / "clip.avi",
                       std::vector<cv::Mat>(40, test::Plain({320, 240}, test::kRedPixel)), 10.0);
  const std::string data = ReadFile(clip);
  folder_.Write("clip.avi", data.substr(0, data.size() / 2));
  test::RunningProgram program(Into({"-"}), folder_ / "output", folder_ / "errors");
  program.WriteInput(clip + "\n" + a_ + "\n" + b_ + "\n");
  ASSERT_TRUE(test::WaitUntil([this] {
    return ReadFile(folder_ / "out/results.jsonl").find("b.png\"") != std::string::npos;
  }));
  program.Signal(SIGKILL);
  program.Wait();
  std::filesystem::remove(clip);
  EXPECT_EQ(RunProgram(Again({clip, a_, b_})).status, 1);
  ASSERT_EQ(Summary()["failures"].size(), 1U);
  EXPECT_THAT(Summary()["failures"][0]["cause"], HasSubstr(" of 40 frames; it is cut short"));
}

// ---- refused ------------------------------------------------------------------------------------

TEST_F(Resume, NamesWhatIsNotAsInThatRun) {
  ASSERT_EQ(RunProgram(Into({"--frame-step", "2", a_})).status, 0);
  const std::string before = ReadFile(folder_ / "out/results.jsonl");
  const std::string begin = "dirty_seg: error: --resume '" + folder_ / "out" + "': ";
  const std::string end =
      "; expected what that run had, or another --output folder, or --overwrite to begin anew\n";
  EXPECT_EQ(RefusalOf(Again({a_})), begin + "--frame-step was 2 in that run, and is 1 now" + end);
  EXPECT_EQ(RefusalOf(Again({"--frame-step", "2", "--coco", a_})),
            begin + "--coco was false in that run, and is true now" + end);
  EXPECT_EQ(RefusalOf(Again({"--every", "2", a_})),
            begin + "--every was not given in that run, and is 2.0 now" + end);
  EXPECT_EQ(RefusalOf(Again({"--frame-step", "2", "--conf", "0.5", a_})),
            begin + "'score_threshold' was 0.25 in that run, and is 0.5 now" + end);
  Arguments other = Again({"--frame-step", "2", a_});
  other[2] = test::CommonNetwork("seg-b2-64-half");
  EXPECT_THAT(RefusalOf(other), HasSubstr(begin + "the SHA-256 of --model was \""));
  EXPECT_THAT(
      RefusalOf(Again({"--frame-step", "2", "--fece-model", test::CommonNetwork("classifier-224"),
                       "--fece-class-ids", "0", a_})),
      HasSubstr(begin + "the SHA-256 of --fece-model was not given in that run"));
  EXPECT_THAT(RefusalOf(Again({"--frame-step", "2", "--names",
                               folder_.Write("names.txt", "spill\nwaste\n"), a_})),
              HasSubstr(begin + "the SHA-256 of --names was not given in that run"));
  Arguments config = Again({"--frame-step", "2", a_});
  folder_.Write("config.yaml", std::string(test::kPatches) + "# changed\n");
  EXPECT_THAT(RefusalOf(config), HasSubstr(begin + "the SHA-256 of --config was \""));
  EXPECT_EQ(ReadFile(folder_ / "out/results.jsonl"), before);
}

TEST_F(Resume, NamesTheVersionOfThatRun) {
  ASSERT_EQ(RunProgram(Into({a_})).status, 0);
  json summary = Summary();
  summary["program"] = "dirty_seg 0.1.0";
  folder_.Write("out/summary.json", summary.dump());
  EXPECT_THAT(RefusalOf(Again({a_})),
              HasSubstr("it was made by \"dirty_seg 0.1.0\", and this is "));
}

TEST_F(Resume, RefusesAFolderWhoseRunIsNotKnown) {
  ASSERT_EQ(RunProgram(Into({a_})).status, 0);
  const json summary = Summary();
  const std::string begin = "dirty_seg: error: --resume '" + folder_ / "out" + "': summary.json ";
  const std::string end =
      "; expected the folder of a run of this version, or --overwrite to begin anew\n";
  std::filesystem::remove(folder_ / "out/summary.json");
  EXPECT_EQ(RefusalOf(Again({a_})),
            begin + "is missing, so that it is not known how the run was made" + end);
  for (const char* text : {"", "[]", "{"}) {
    folder_.Write("out/summary.json", text);
    EXPECT_EQ(RefusalOf(Again({a_})), begin + "is not a JSON object" + end) << text;
  }
  for (const char* key : {"checksums", "options", "thresholds"}) {
    json without = summary;
    without.erase(key);
    folder_.Write("out/summary.json", without.dump());
    EXPECT_EQ(RefusalOf(Again({a_})), begin + "has no " + key + end);
  }
  for (const char* key : {"complete", "failures"}) {
    json without = summary;
    without[key] = "much";
    folder_.Write("out/summary.json", without.dump());
    EXPECT_EQ(RefusalOf(Again({a_})), begin + "lacks what a run writes" + end);
  }
}

TEST_F(Resume, RefusesToDrawACamerasVideoAgain) {
  ASSERT_EQ(RunProgram(Into({"--video", a_, a_})).status, 0);
  std::string lines;
  for (json row : Rows()) {
    row["source"] = "camera:99";
    row["frame"] = std::count(lines.begin(), lines.end(), '\n');
    lines += row.dump() + "\n";
  }
  folder_.Write("out/results.jsonl", lines);
  CutResults(2);
  EXPECT_EQ(RefusalOf(Again({"--video", "camera:99"})),
            "dirty_seg: error: --resume '" + folder_ / "out" +
                "': --video cannot draw again what 'camera:99' showed; expected another --output "
                "folder\n");
}

TEST_F(Resume, NamesALineThatIsNoResult) {
  ASSERT_EQ(RunProgram(Into({a_, b_})).status, 0);
  folder_.Write("out/results.jsonl", "{}\n" + ReadFile(folder_ / "out/results.jsonl"));
  EXPECT_THAT(RefusalOf(Again({a_, b_})), EndsWith("/results.jsonl' line 1: source is missing\n"));
}

TEST_F(Resume, GoesWithAFolderAndWithoutOverwrite) {
  EXPECT_THAT(RefusalOf(Command() + Arguments{"--resume", a_}), HasSubstr("--output"));
  EXPECT_THAT(RefusalOf(Into({"--resume", "--overwrite", a_})), HasSubstr("--overwrite"));
  folder_.MakeFolder("out");
  folder_.Write("out/notes.txt", "mine");
  EXPECT_THAT(RefusalOf(Again({a_})), HasSubstr("the folder is not empty; expected a new one"));
}

}  // namespace
}  // namespace dirty_seg
