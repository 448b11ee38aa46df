// The built program's files: two runs at once, a second run over the first one's, names of any
// bytes.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <set>

#include "base/base64.h"
#include "support/detect_fixture.h"
#include "support/running_program.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using test::Arguments;
using test::ParseLines;
using test::ProgramResult;
using test::ReadFile;
using test::RunningProgram;
using test::RunProgram;
using test::WaitUntil;
using test::operator+;
using testing::ElementsAre;
using testing::HasSubstr;

class OutputProgram : public test::DetectFixture {
 protected:
  Arguments CommandInto(const Arguments& more) {
    return Command() + Arguments{"--output", folder_ / "out", "--overwrite"} + more;
  }

  // What lies in the folder of results, folders within it included.
  std::set<std::string> Files() {
    std::set<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator(folder_ / "out")) {
      if (entry.is_regular_file()) files.insert(fs::relative(entry.path(), folder_ / "out"));
    }
    return files;
  }

  std::vector<json> Rows() { return ParseLines(ReadFile(folder_ / "out/results.jsonl")); }
};

// ---- Two at once --------------------------------------------------------------------------------

TEST_F(OutputProgram, OfTwoRunsIntoOneFolderIsTheFirstOnesAlone) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const std::string green = Picture("green.png", test::kGreenPixel);
  RunningProgram first(CommandInto({"-"}), folder_ / "output", folder_ / "errors");
  first.WriteInput(red + "\n");
  ASSERT_TRUE(WaitUntil([this] { return fs::exists(folder_ / "out/red.overlay.jpg"); }));
  EXPECT_EQ(RefusalOf(CommandInto({green})),
            "dirty_seg: error: --output '" + folder_ / "out" +
                "': another run is writing there; expected another folder, or that run to end\n");
  first.WriteInput(green + "\n");
  ASSERT_TRUE(WaitUntil([this] { return fs::exists(folder_ / "out/green.overlay.jpg"); }));
  first.Signal(SIGINT);
  EXPECT_EQ(first.Wait(), 130);
  ASSERT_EQ(Rows().size(), 2U);
  EXPECT_EQ(Rows()[0]["source"], red);
  EXPECT_EQ(Rows()[1]["source"], green);
}

TEST_F(OutputProgram, OfAKilledRunIsFreeForTheNext) {
  const std::string red = Picture("red.png", test::kRedPixel);
  {
    RunningProgram killed(CommandInto({"--coco", "-"}), folder_ / "output", folder_ / "errors");
    killed.WriteInput(red + "\n");
    ASSERT_TRUE(WaitUntil([this] { return fs::exists(folder_ / "out/red.overlay.jpg"); }));
    killed.Signal(SIGKILL);
    EXPECT_EQ(killed.Wait(), -1);
  }
  EXPECT_EQ(Files().count("coco_results.json"), 0U);
  const ProgramResult next = RunProgram(CommandInto({Picture("green.png", test::kGreenPixel)}));
  EXPECT_EQ(next.status, 0) << next.errors;
  EXPECT_THAT(Files(), ElementsAre("green.mask_1.png", "green.overlay.jpg", "results.jsonl",
                                   "results_files.txt", "summary.json"));
}

// ---- One after the other ------------------------------------------------------------------------

TEST_F(OutputProgram, OverwritesWhatTheEarlierRunWroteAndNothingElse) {
  const std::string clip =
      test::WriteVideo(folder_ / "clip.avi", {2, test::Plain(test::kFrame, test::kRedPixel)}, 10.0);
  const Arguments forms = Classifier(test::CommonNetwork("classifier-224")) +
                          Arguments{"--coco", "--polygons", "--yolo", "--crops", "--video"};
  const ProgramResult first =
      RunProgram(CommandInto(forms + Arguments{Picture("red.png", test::kRedPixel), clip}));
  ASSERT_EQ(first.status, 0) << first.errors;
  EXPECT_GT(Files().size(), 15U);
  for (const char* name :
       {"notes.txt", "mine.overlay.jpg", "mine.mask_0.png", "labels/mine.txt", "report.html"}) {
    folder_.Write(std::string("out/") + name, "mine");
  }
  const ProgramResult second = RunProgram(CommandInto({Picture("green.png", test::kGreenPixel)}));
  ASSERT_EQ(second.status, 0) << second.errors;
  EXPECT_THAT(Files(),
              ElementsAre("green.mask_1.png", "green.overlay.jpg", "labels/mine.txt",
                          "mine.mask_0.png", "mine.overlay.jpg", "notes.txt", "report.html",
                          "results.jsonl", "results_files.txt", "summary.json"));
}

TEST_F(OutputProgram, ListsAllThatItWrote) {
  const Arguments forms = Classifier(test::CommonNetwork("classifier-224")) +
                          Arguments{"--coco", "--polygons", "--yolo", "--crops"};
  ASSERT_EQ(RunProgram(CommandInto(forms + Arguments{Picture("red.png", test::kRedPixel)})).status,
            0);
  std::istringstream list(ReadFile(folder_ / "out/results_files.txt"));
  std::set<std::string> listed{"results.jsonl", "results_files.txt"};
  for (std::string name; std::getline(list, name);) {
    if (name != "labels/") listed.insert(name);
  }
  EXPECT_EQ(listed, Files());
}

// ---- Names --------------------------------------------------------------------------------------

// Names that no shell, terminal, page or JSON takes as they are.
TEST_F(OutputProgram, KeepsNamesOfAnyBytes) {
  const std::string odd = Picture("caf\xe9\xff.png", test::kRedPixel);
  const std::string hostile = Picture("a\x1b[31m\nb\xc2\x9b.png", test::kGreenPixel);
  const std::string marks = Picture("50% #1?&'\"<b>.png", test::kRedPixel);
  const std::string missing = folder_ / "gone\xfe.png";
  const ProgramResult result =
      RunProgram(CommandInto({"--coco", "--polygons", odd, hostile, marks, missing}));
  ASSERT_EQ(result.status, 1) << result.errors;
  EXPECT_THAT(Files(),
              testing::IsSupersetOf({"caf%E9%FF.overlay.jpg", "a%1B[31m%0Ab%C2%9B.overlay.jpg",
                                     "50% #1?&'\"<b>.overlay.jpg"}));
  const std::string text = ReadFile(folder_ / "out/results.jsonl");
  EXPECT_TRUE(std::none_of(text.begin(), text.end(), [](unsigned char c) {
    return c != '\n' && (c < 0x20 || c == 0x7f || c == 0xc2);
  }));
  const std::vector<json> rows = Rows();
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(BytesOfBase64(rows[0]["source_bytes"].get<std::string>()), odd);
  EXPECT_EQ(rows[1]["source"], hostile);
  EXPECT_FALSE(rows[1].contains("source_bytes"));
  EXPECT_EQ(rows[2]["source"], marks);
  for (const json& row : rows) {
    EXPECT_EQ(Files().count(row["overlay"]), 1U);
    for (const auto& [label, mask] : row["label_masks"].items()) {
      EXPECT_EQ(Files().count(mask["file"]), 1U);
    }
  }
  const json images = json::parse(ReadFile(folder_ / "out/coco_images.json"))["images"];
  EXPECT_EQ(BytesOfBase64(images[0]["file_name_bytes"].get<std::string>()), odd);
  const json polygons = ParseLines(ReadFile(folder_ / "out/polygons.jsonl")).at(0);
  EXPECT_EQ(BytesOfBase64(polygons["source_bytes"].get<std::string>()), odd);
  const json failure = json::parse(ReadFile(folder_ / "out/summary.json"))["failures"].at(0);
  EXPECT_EQ(BytesOfBase64(failure["source_bytes"].get<std::string>()), missing);
}

TEST_F(OutputProgram, OfAnyNameIsShownInAReport) {
  const Arguments pictures{Picture("caf\xe9\xff.png", test::kRedPixel),
                           Picture("a\x1b[31m\nb.png", test::kGreenPixel),
                           Picture("50% #1?&'\"<b>.png", test::kRedPixel)};
  ASSERT_EQ(RunProgram(CommandInto(pictures)).status, 0);
  const auto origins = [this] {
    const ProgramResult result = RunProgram({"report", folder_ / "out", "--overwrite"});
    EXPECT_THAT(result.errors, HasSubstr("3 frames, 3 with their picture; "));
    const std::string page = ReadFile(folder_ / "out/report.html");
    const std::string begin = R"(<script type="application/json" id="data">)";
    const std::size_t data = page.find(begin) + begin.size();
    std::vector<std::string> found;
    const json root = json::parse(page.substr(data, page.find("</script>", data) - data));
    for (const json& frame : root.at("frames")) {
      found.push_back(frame.at("picture"));
    }
    return found;
  };
  EXPECT_THAT(origins(), ElementsAre("source", "source", "source"));
  for (const std::string& picture : pictures) fs::remove(picture);
  EXPECT_THAT(origins(), ElementsAre("overlay", "overlay", "overlay"));
}

TEST_F(OutputProgram, OfALongNameHasRoomForItsOwn) {
  const std::string name(250, 'a');
  ASSERT_EQ(RunProgram(CommandInto({Picture(name + ".png", test::kRedPixel)})).status, 0);
  EXPECT_EQ(Files().count(std::string(180, 'a') + ".overlay.jpg"), 1U);
}

}  // namespace
}  // namespace dirty_seg
