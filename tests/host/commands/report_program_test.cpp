// The built program's `report` on what its `detect` leaves.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>

#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/temporary_folder.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using test::ProgramResult;
using test::ReadFile;
using test::RunProgram;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class ReportProgram : public testing::Test {
 protected:
  ReportProgram() : out_(folder_ / "out"), page_(out_ + "/report.html") {
    const std::string picture =
        test::WritePicture(folder_ / "red.png", test::Plain(test::kFrame, test::kRedPixel));
    const std::string config =
        folder_.Write("config.yaml", "patch:\n  enable: true\n  patches:\n    - [0, 0, 64, 64]\n");
    const ProgramResult found = RunProgram({"detect", "--model", test::CommonNetwork("seg-b2-64"),
                                            "--config", config, "--output", out_, picture});
    EXPECT_EQ(found.status, 0) << found.errors;
  }

  test::TemporaryFolder folder_;
  std::string out_;
  std::string page_;
};

TEST_F(ReportProgram, WritesOnePageBesideTheResults) {
  const ProgramResult result = RunProgram({"report", out_});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors, StartsWith("dirty_seg: 1 frame, 1 with its picture; page of 0."));
  EXPECT_THAT(result.errors, HasSubstr(" MB in '" + page_ + "'\n"));
  const std::string page = ReadFile(page_);
  EXPECT_THAT(page, HasSubstr("<title>Results of out</title>"));
  EXPECT_THAT(page, HasSubstr(R"("boxes":[[16.0,24.0,48.0,40.0]],"scores":[1.0],"labels":[0])"));
  EXPECT_THAT(page, HasSubstr("dirty_seg " DIRTY_SEG_VERSION));
}

TEST_F(ReportProgram, ShowsAScoreThatIsNoNumber) {
  nlohmann::json line = nlohmann::json::parse(ReadFile(out_ + "/results.jsonl"));
  const std::string before = folder_.Write("before.jsonl", line.dump() + "\n");
  line["scores"][0] = nullptr;
  folder_.Write("out/results.jsonl", line.dump() + "\n");
  const ProgramResult result = RunProgram({"report", out_});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(ReadFile(page_), HasSubstr(R"("scores":[null],"labels":[0])"));
  EXPECT_EQ(RunProgram({"compare", out_, out_, "--max-score-difference", "0"}).status, 0);
  const ProgramResult compared =
      RunProgram({"compare", before, out_, "--max-score-difference", "1"});
  EXPECT_EQ(compared.status, 1);
  EXPECT_THAT(compared.errors, HasSubstr("--max-score-difference 1.0: inf in "));
}

TEST_F(ReportProgram, TakesTheFileOfLinesAndAnotherPlace) {
  const std::string page = folder_ / "page.html";
  const ProgramResult result = RunProgram({"report", out_ + "/results.jsonl", "--output", page,
                                           "--title", "Kitchen & hall", "--max-frames", "0"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, StartsWith("dirty_seg: 1 frame, 0 with their picture;"));
  EXPECT_THAT(ReadFile(page), HasSubstr("<h1>Kitchen &amp; hall</h1>"));
  EXPECT_THAT(ReadFile(page), Not(HasSubstr("id=\"picture-0\"")));
  EXPECT_FALSE(fs::exists(page_));
}

TEST_F(ReportProgram, TakesAFolderForThePage) {
  const std::string folder = folder_.MakeFolder("pages");
  EXPECT_EQ(RunProgram({"report", out_, "--output", folder}).status, 0);
  EXPECT_TRUE(fs::exists(folder + "/report.html"));
  EXPECT_FALSE(fs::exists(page_));
}

TEST_F(ReportProgram, BoundsThePicturesWidth) {
  EXPECT_EQ(RunProgram({"report", out_}).status, 0);
  const auto large = fs::file_size(page_);
  EXPECT_EQ(RunProgram({"report", out_, "--overwrite", "--max-width", "64"}).status, 0);
  EXPECT_LT(fs::file_size(page_), large);
}

TEST_F(ReportProgram, OverwritesAPageOnlyWhenTold) {
  fs::create_directories(out_);
  folder_.Write("out/report.html", "mine");
  const ProgramResult refused = RunProgram({"report", out_});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.errors, "dirty_seg: error: '" + page_ +
                                "' already exists; --overwrite replaces it, --output names "
                                "another place\n");
  EXPECT_EQ(ReadFile(page_), "mine");
  EXPECT_EQ(RunProgram({"report", out_, "--overwrite"}).status, 0);
  EXPECT_THAT(ReadFile(page_), StartsWith("<!doctype html>"));
}

TEST_F(ReportProgram, TakesABareFileName) {
  const fs::path before = fs::current_path();
  fs::current_path(out_);
  const ProgramResult result = RunProgram({"report", "results.jsonl"});
  fs::current_path(before);
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(ReadFile(page_), HasSubstr("<title>Results of out</title>"));
}

TEST_F(ReportProgram, ReplacesNoResultsEvenWhenTold) {
  const std::string results = out_ + "/results.jsonl";
  const std::string text = ReadFile(results);
  const ProgramResult result = RunProgram({"report", out_, "--overwrite", "--output", results});
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.errors, "dirty_seg: error: '" + results +
                               "' has the results; expected another file for the page\n");
  EXPECT_EQ(ReadFile(results), text);
}

TEST_F(ReportProgram, ShowsWhatAKilledRunLeaves) {
  const std::string line = ReadFile(out_ + "/results.jsonl");
  folder_.Write("out/results.jsonl", line + line.substr(0, line.size() / 2));
  folder_.Write("out/summary.json", "");
  const ProgramResult result = RunProgram({"report", out_});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: warning: '" + out_ +
                                       "/results.jsonl' line 2: ends in the middle, as a run that "
                                       "is killed leaves it, and is left out\n"));
  EXPECT_THAT(result.errors, HasSubstr("/summary.json' is not a summary that "));
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: 1 frame, 1 with its picture;"));
  EXPECT_THAT(ReadFile(page_), HasSubstr("ends in the middle"));
  EXPECT_EQ(RunProgram({"compare", out_, out_}).status, 0);
}

TEST_F(ReportProgram, KeepsAVideosDecoderQuiet) {
  const std::string clip =
      test::WriteVideo(folder_ / "clip.avi", {4, test::Plain(test::kFrame, test::kRedPixel)}, 10.0);
  std::string bytes = ReadFile(clip);
  bytes.replace(bytes.size() * 5 / 8, 4000, std::string(4000, '\0'));  // within the third frame
  folder_.Write("clip.avi", bytes);
  folder_.Write("out/results.jsonl",
                R"({"source": ")" + clip + R"(", "frame": 3, "success": true, "message": "",)" +
                    R"("bboxes": [], "scores": [], "labels": [], "label_masks": {},)" +
                    R"("mask_pixel_counts": [], "timing_ms": {}})" + "\n");
  const ProgramResult result = RunProgram({"report", out_});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors, StartsWith("dirty_seg: 1 frame, 1 with its picture; page of "));
  EXPECT_EQ(std::count(result.errors.begin(), result.errors.end(), '\n'), 1) << result.errors;
}

TEST_F(ReportProgram, RefusesWhatIsNoResults) {
  const ProgramResult result = RunProgram({"report", folder_.path()});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("the folder has no results.jsonl"));
  const ProgramResult broken = RunProgram({"report", folder_.Write("x.jsonl", "{}\n")});
  EXPECT_EQ(broken.status, 2);
  EXPECT_THAT(broken.errors, HasSubstr("x.jsonl' line 1: source is missing"));
  EXPECT_FALSE(fs::exists(folder_ / "report.html"));
}

TEST_F(ReportProgram, ComparesWithAnotherRun) {
  nlohmann::json line = nlohmann::json::parse(ReadFile(out_ + "/results.jsonl"));
  line["bboxes"][0][0] = 20;
  folder_.MakeFolder("before");
  folder_.Write("before/results.jsonl", line.dump() + "\n");
  const ProgramResult result = RunProgram({"report", out_, "--against", folder_ / "before"});
  EXPECT_EQ(result.status, 0) << result.errors;
  const std::string page = ReadFile(page_);
  EXPECT_THAT(page, HasSubstr(R"("moved":[[0,0,4.0]])"));
  EXPECT_THAT(page, HasSubstr("Compared with '" + (folder_ / "before") + "': 1 of 1 frame "));
  const std::string host = folder_.Write("host.yaml", "report: {against: before/results.jsonl}\n");
  EXPECT_EQ(RunProgram({"report", "--overwrite", out_, "--host", host}).status, 0);
  EXPECT_THAT(ReadFile(page_), HasSubstr(R"("moved":[[0,0,4.0]])"));
}

TEST_F(ReportProgram, ComparesThingsWhereBothRunsListThem) {
  nlohmann::json line = nlohmann::json::parse(ReadFile(out_ + "/results.jsonl"));
  line["things"] = nlohmann::json::parse(
      R"([{"bbox": [10, 10, 30, 30], "score": 0.5, "label": 0, "pixels": 0, "members": [0],
           "rle": {"size": [1080, 1920], "counts": "PPYo1"}}])");
  folder_.Write("out/results.jsonl", line.dump() + "\n");
  line["things"][0]["bbox"] = {10, 10, 30, 32};
  const std::string other = folder_.Write("other.jsonl", line.dump() + "\n");
  const ProgramResult result = RunProgram({"report", out_, "--against", other});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(ReadFile(page_), HasSubstr(R"("change":{"moved":[[0,0,2.0]]})"));
}

TEST_F(ReportProgram, TellsThatItIsComparedWithItself) {
  EXPECT_EQ(RunProgram({"report", out_, "--against", out_ + "/results.jsonl"}).status, 0);
  EXPECT_THAT(ReadFile(page_), HasSubstr("none of 1 frame changed."));
  EXPECT_THAT(ReadFile(page_), HasSubstr("The other run is this run itself: nothing can differ."));
}

TEST_F(ReportProgram, RefusesAnotherRunThatIsNone) {
  const auto refusal = [this](const std::string& other) {
    const ProgramResult result = RunProgram({"report", out_, "--against", other});
    EXPECT_EQ(result.status, 2);
    EXPECT_FALSE(fs::exists(page_));
    EXPECT_FALSE(fs::exists(page_ + ".part"));
    return result.errors;
  };
  EXPECT_THAT(refusal(folder_ / "none"), HasSubstr("'" + (folder_ / "none") + "'"));
  EXPECT_THAT(refusal(folder_.MakeFolder("bare")), HasSubstr("the folder has no results.jsonl"));
  EXPECT_THAT(refusal(folder_.Write("empty.jsonl", "")), HasSubstr("empty.jsonl' has no frame"));
  EXPECT_THAT(refusal(folder_ / "red.png"), HasSubstr("red.png' line 1"));
  const std::string line = ReadFile(out_ + "/results.jsonl");
  EXPECT_THAT(refusal(folder_.Write("broken.jsonl", "{\"source\"\n" + line)),
              HasSubstr("broken.jsonl' line 1"));
  nlohmann::json other = nlohmann::json::parse(line);
  other["source"] = "blue.png";
  EXPECT_THAT(refusal(folder_.Write("blue.jsonl", other.dump() + "\n")),
              HasSubstr("blue.jsonl' have no frame in common; expected two runs over the same"));
  EXPECT_THAT(refusal(""), HasSubstr("--against: the text is empty; expected a folder of results"));
}

TEST_F(ReportProgram, ReplacesNoResultsOfTheOtherRun) {
  const std::string other = folder_.Write("other.jsonl", ReadFile(out_ + "/results.jsonl"));
  const ProgramResult result =
      RunProgram({"report", out_, "--overwrite", "--against", other, "--output", other});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("has the results; expected another file for the page"));
}

TEST_F(ReportProgram, SaysNothingWhenQuietButErrors) {
  EXPECT_EQ(RunProgram({"report", "-q", out_}).errors, "");
  EXPECT_TRUE(fs::exists(page_));
  EXPECT_THAT(RunProgram({"report", "-q", out_}).errors, HasSubstr("already exists"));
}

TEST_F(ReportProgram, RefusesBadNumbers) {
  EXPECT_THAT(RunProgram({"report", out_, "--max-width", "10"}).errors,
              HasSubstr("10 is not a number of pixels from 64 to 16384"));
  EXPECT_EQ(RunProgram({"report", out_, "--max-frames", "-1"}).status, 2);
}

}  // namespace
}  // namespace dirty_seg
