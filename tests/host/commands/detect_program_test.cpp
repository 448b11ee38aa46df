// The built program's `detect` on real files: results, streams, exit statuses.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "results/run_length.h"
#include "support/detect_fixture.h"
#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/running_program.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::Arguments;
using test::CommonNetwork;
using test::kPatches;
using test::ParseLines;
using test::operator+;
using test::HostNetwork;
using test::ProgramResult;
using test::ReadFile;
using test::RunningProgram;
using test::RunProgram;
using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;
using testing::StartsWith;
std::vector<std::string> KeysOf(const json& object) {
  std::vector<std::string> keys;
  for (const auto& [key, value] : object.items()) keys.push_back(key);
  return keys;
}

class Detect : public test::DetectFixture {};

// ---- Results ------------------------------------------------------------------------------------

TEST_F(Detect, WritesOneLineAPictureAndNothingElse) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const std::string green = Picture("green.png", test::kGreenPixel);
  const ProgramResult result = RunProgram(Command() + Arguments{red, green});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  const std::vector<json> rows = ParseLines(result.output);
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0]["source"], red);
  EXPECT_EQ(rows[0]["frame"], 0);
  EXPECT_EQ(rows[0]["success"], true);
  EXPECT_EQ(rows[0]["message"], "success");
  EXPECT_EQ(rows[0]["bboxes"], json::parse("[[16, 24, 48, 40], [656, 464, 688, 480]]"));
  EXPECT_EQ(rows[0]["scores"], json::parse("[1, 1]"));
  EXPECT_EQ(rows[0]["labels"], json::parse("[0, 0]"));
  EXPECT_EQ(rows[0]["label_names"], json::parse(R"({"0": "red"})"));
  EXPECT_EQ(rows[0]["mask_pixel_counts"], json::parse("[512, 512]"));
  EXPECT_EQ(rows[0]["label_masks"]["0"]["pixels"], 1024);
  EXPECT_FALSE(rows[0]["label_masks"]["0"].contains("file"));
  EXPECT_EQ(rows[1]["source"], green);
  EXPECT_EQ(rows[1]["labels"], json::parse("[1, 1]"));
}

TEST_F(Detect, TellsTheTimeOfEveryStage) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const std::vector<json> rows = ParseLines(RunProgram(Command() + Arguments{red}).output);
  ASSERT_EQ(rows.size(), 1U);
  const json& times = rows[0]["timing_ms"];
  double stages = 0.0;
  for (const char* stage : {"preprocess", "inference", "postprocess", "convert"}) {
    ASSERT_TRUE(times.contains(stage)) << stage;
    stages += times[stage].get<double>();
  }
  EXPECT_FALSE(times.contains("classify"));
  EXPECT_NEAR(stages, times["total"].get<double>(), 0.01);  // each rounded to a microsecond
  EXPECT_GT(times["read"].get<double>(), 0.0);
  EXPECT_GT(times["write"].get<double>(), 0.0);
}

TEST_F(Detect, TellsTheTimeOfTheClassifierToo) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const std::string out = folder_ / "out";
  const ProgramResult result = RunProgram(Command() + Classifier(CommonNetwork("classifier-224")) +
                                          Arguments{"--output", out, red});
  EXPECT_THAT(result.errors,
              ContainsRegex("\nSpeed: [0-9.]+ms preprocess, [0-9.]+ms inference, [0-9.]+ms "
                            "postprocess, [0-9.]+ms classify, [0-9.]+ms convert per frame\n"));
  const json times = ParseLines(ReadFile(out + "/results.jsonl")).at(0)["timing_ms"];
  EXPECT_GT(times["classify"].get<double>(), 0.0);
  double stages = 0.0;
  for (const char* stage : {"preprocess", "inference", "postprocess", "classify", "convert"}) {
    stages += times[stage].get<double>();
  }
  EXPECT_NEAR(stages, times["total"].get<double>(), 0.01);
  const json summary = json::parse(ReadFile(out + "/summary.json"));
  EXPECT_EQ(summary["timing_ms"]["classify"]["mean"], times["classify"]);
}

TEST_F(Detect, GivesTheSameMaskAsRunLengthsAndAsAPicture) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const std::string out = folder_ / "out";
  const ProgramResult result = RunProgram(Command() + Arguments{"--output", out, red});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, "");
  EXPECT_THAT(result.errors,
              MatchesRegex("image 1/1 " + red +
                           ": 1920x1080 2 red, [0-9.]+ms\n"
                           "Speed: [0-9.]+ms preprocess, [0-9.]+ms inference, [0-9.]+ms "
                           "postprocess, [0-9.]+ms convert per frame\n"
                           "dirty_seg: 1 of 1 inputs processed; results in '" +
                           out + "/results.jsonl'\n"));
  const std::vector<json> rows = ParseLines(ReadFile(out + "/results.jsonl"));
  ASSERT_EQ(rows.size(), 1U);
  const json& entry = rows[0]["label_masks"]["0"];
  EXPECT_EQ(entry["file"], "red.mask_0.png");
  cv::Mat expected = cv::Mat::zeros(test::kFrame, CV_8UC1);
  expected(cv::Rect(16, 24, 32, 16)).setTo(255);
  expected(cv::Rect(656, 464, 32, 16)).setTo(255);
  const cv::Mat picture = cv::imread(out + "/red.mask_0.png", cv::IMREAD_UNCHANGED);
  ASSERT_EQ(picture.size(), expected.size());
  EXPECT_EQ(cv::countNonZero(picture != expected), 0);
  const cv::Mat decoded =
      DecodeRunLengths({entry["rle"]["size"][0], entry["rle"]["size"][1], entry["rle"]["counts"]});
  ASSERT_EQ(decoded.size(), expected.size());
  EXPECT_EQ(cv::countNonZero(decoded != expected), 0);
  EXPECT_EQ(cv::imread(out + "/red.overlay.jpg").size(), test::kFrame);
}

TEST_F(Detect, NamesConfirmedFaeces) {
  const std::string magenta = Picture("magenta.png", test::kMagentaPixel);
  const Arguments command = Command() + Classifier(CommonNetwork("classifier-dynamic-batch"));
  const std::vector<json> rows = ParseLines(RunProgram(command + Arguments{magenta}).output);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0]["labels"], json::parse("[19, 19]"));
  EXPECT_EQ(rows[0]["label_names"], json::parse(R"({"19": "faeces"})"));
}

// Magenta is class 0, which the classifier confirms; green is the network's own class 19.
TEST_F(Detect, TellsTheNetworksOwnClass19FromConfirmedFaeces) {
  cv::Mat both = test::Plain(test::kFrame, test::kGreenPixel);
  both(cv::Rect(640, 440, 64, 64)).setTo(test::kMagentaPixel);
  const std::string path = test::WritePicture(folder_ / "both.png", both);
  Arguments command = Command(HostNetwork("seg-class-19"));
  const Arguments more =
      Classifier(CommonNetwork("classifier-224")) + Arguments{"--output", folder_ / "out", path};
  const ProgramResult result = RunProgram(command + more + Arguments{path});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors,
              MatchesRegex("dirty_seg: warning: the segmentation network has a class 19 of its "
                           "own, 'cow'; what the classifier confirms gets the label 19 too. "
                           "'confirmed' in the results tells the two apart, and a confirmed one is "
                           "called 'faeces'\n"
                           "image 1/2 [^\n]* 1 cow, 1 faeces, [^\n]*\n"
                           "image 2/2 [^\n]* 1 cow, 1 faeces, [^\n]*\n"
                           "Speed: [^\n]*\n[^\n]*\n"));
  const json row = ParseLines(ReadFile(folder_ / "out/results.jsonl")).at(0);
  EXPECT_EQ(row["labels"], json::parse("[19, 19]"));
  EXPECT_EQ(row["confirmed"], json::parse("[false, true]"));
  EXPECT_EQ(row["label_names"], json::parse(R"({"19": "cow"})"));
  const json summary = json::parse(ReadFile(folder_ / "out/summary.json"));
  EXPECT_EQ(summary["detections"], json::parse(R"({"19": 4})"));
  EXPECT_EQ(summary["confirmed_faeces"], 2);

  command[0] = "dump";
  ASSERT_EQ(RunProgram(command + more + Arguments{"--overwrite"}).status, 0);
  const json dump = json::parse(ReadFile(folder_ / "out/dump.json"));
  EXPECT_EQ(dump["detections"][0]["name"], "cow");
  EXPECT_EQ(dump["detections"][1]["name"], "faeces");
}

TEST_F(Detect, TellsWhatTheClassifierSaidOfEachCandidate) {
  cv::Mat picture = test::Plain(test::kFrame, test::kRedPixel);
  picture(cv::Rect(640, 440, 64, 64)).setTo(test::kMagentaPixel);
  const std::string path = test::WritePicture(folder_ / "both.png", picture);
  const auto candidates = [&](const Arguments& more) {
    const Arguments command = Command() + Classifier(CommonNetwork("classifier-224"));
    const std::vector<json> rows = ParseLines(RunProgram(command + more + Arguments{path}).output);
    return rows.at(0).value("fece_candidates", json("hidden"));
  };
  // frame_detector_test.cpp has the logits: 1 / (1 + e^(2.249 + 1.804)) of red, and 0.60 of
  // magenta.
  const json both = candidates({});
  ASSERT_EQ(both.size(), 2U);
  EXPECT_EQ(both[0]["detection"], 0);
  EXPECT_EQ(both[0]["verdict"], "rejected");
  EXPECT_NEAR(both[0]["score"], 0.0171, 0.0001);
  EXPECT_EQ(both[1]["detection"], 1);
  EXPECT_EQ(both[1]["verdict"], "confirmed");
  EXPECT_NEAR(both[1]["score"], 0.60, 0.005);
  const json unchecked = json::parse(
      R"([{"detection": 0, "verdict": "not_checked"}, {"detection": 1, "verdict": "not_checked"}])");
  EXPECT_EQ(candidates({"--fece-area-threshold", "512"}), unchecked);
  EXPECT_EQ(candidates({"--fece-area-threshold", "512", "--log-level", "debug"}), unchecked);
  EXPECT_EQ(candidates({"--log-level", "error"}), both);
}

TEST_F(Detect, HandsTheClassifiersThresholdsOn) {
  // Magenta is confirmed with 0.60; its boxes have 512 pixels.
  const std::string magenta = Picture("magenta.png", test::kMagentaPixel);
  const Arguments command = Command() + Classifier(CommonNetwork("classifier-224"), "5,0");
  const auto label = [&](const Arguments& more) {
    const std::vector<json> rows =
        ParseLines(RunProgram(command + more + Arguments{magenta}).output);
    return rows.size() == 1 ? rows[0]["labels"][0].get<int>() : -1;
  };
  EXPECT_EQ(label({}), 19);
  EXPECT_EQ(label({"--fece-score-threshold", "0.65"}), 0);
  EXPECT_EQ(label({"--fece-area-threshold", "511"}), 19);
  EXPECT_EQ(label({"--fece-area-threshold", "512"}), 0);
}

TEST_F(Detect, TakesAnOpenBatchFromThePatches) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result =
      RunProgram(Command(CommonNetwork("seg-dynamic")) + Arguments{"--threads", "1", red});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(ParseLines(result.output).at(0)["labels"], json::parse("[0, 0]"));
}

// ---- Inputs -------------------------------------------------------------------------------------

TEST_F(Detect, TakesThePicturesOfAFolderByName) {
  folder_.MakeFolder("pictures");
  const std::string b = Picture("pictures/b.png", test::kRedPixel);
  const std::string a = Picture("pictures/a.bmp", test::kGreenPixel);
  folder_.Write("pictures/notes.txt", "no picture");
  const ProgramResult result = RunProgram(Command() + Arguments{folder_ / "pictures"});
  EXPECT_EQ(result.status, 0);
  const std::vector<json> rows = ParseLines(result.output);
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0]["source"], a);
  EXPECT_EQ(rows[1]["source"], b);
}

TEST_F(Detect, KeepsPicturesOfOneNameApart) {
  folder_.MakeFolder("a");
  folder_.MakeFolder("b");
  const std::string out = folder_ / "out";
  const ProgramResult result =
      RunProgram(Command() + Arguments{"--output", out, Picture("a/one.png", test::kRedPixel),
                                       Picture("b/one.png", test::kGreenPixel)});
  EXPECT_EQ(result.status, 0);
  const std::vector<json> rows = ParseLines(ReadFile(out + "/results.jsonl"));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0]["label_masks"]["0"]["file"], "one.mask_0.png");
  EXPECT_EQ(rows[1]["label_masks"]["1"]["file"], "one-2.mask_1.png");
  for (const char* file :
       {"one.overlay.jpg", "one-2.overlay.jpg", "one.mask_0.png", "one-2.mask_1.png"}) {
    EXPECT_TRUE(std::filesystem::is_regular_file(out + "/" + file)) << file;
  }
}

TEST_F(Detect, NamesEachInputThatFailsAndDoesTheRest) {
  const std::string text = folder_.Write("text.png", "no picture");
  const std::string empty = folder_.MakeFolder("empty");
  const std::string missing = folder_ / "missing.png";
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result = RunProgram(Command() + Arguments{missing, text, empty, red});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: error: '" + missing +
                                       "': cannot be opened: No such file or directory\n"));
  EXPECT_THAT(result.errors,
              HasSubstr("dirty_seg: error: '" + text + "': is not a picture that can be read\n"));
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: error: '" + empty +
                                       "': the folder has no picture or video; expected"));
  const std::vector<json> rows = ParseLines(result.output);
  ASSERT_EQ(rows.size(), 1U);
  EXPECT_EQ(rows[0]["source"], red);
}

TEST_F(Detect, WritesALineForAFrameThatFailsAmongOthers) {
  const std::string green = Picture("green.png", test::kGreenPixel);
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result =
      RunProgram(Command(HostNetwork("seg-fails-on-red")) + Arguments{green, red, green});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: error: '" + red +
                                       "': Dirty seg detection inference status is 5\n"));
  const std::vector<json> rows = ParseLines(result.output);
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0]["success"], true);
  EXPECT_EQ(rows[1]["success"], false);
  EXPECT_EQ(rows[1]["source"], red);
  EXPECT_EQ(rows[1]["message"], "Dirty seg detection inference status is 5");
  EXPECT_EQ(rows[1]["bboxes"], json::array());
  EXPECT_EQ(rows[2]["success"], true);
}

TEST_F(Detect, SaysWhenNoPatchReachesIntoAPicture) {
  const std::string tiny = Picture("tiny.png", test::kRedPixel, {32, 32});
  const std::string yaml = "patch: {enable: true, patches: [[640, 440, 64, 64]]}";
  const ProgramResult result =
      RunProgram(Command(CommonNetwork("seg-b2-64"), yaml) + Arguments{"--fit", "pad", tiny});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(
      result.errors,
      HasSubstr("dirty_seg: error: '" + tiny +
                "': no patch reaches into the picture, which takes 32 x 32 at the left top of "
                "the frame\n"));
  EXPECT_EQ(ParseLines(result.output).at(0)["success"], false);
}

TEST_F(Detect, WarnsOfAClassifierThatFails) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result =
      RunProgram(Command() + Classifier(HostNetwork("classifier-fails-on-red")) + Arguments{red});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors,
              HasSubstr("dirty_seg: warning: '" + red + "': fece inference status is 5\n"));
  const json row = ParseLines(result.output).at(0);
  EXPECT_EQ(row["labels"], json::parse("[0, 0]"));
  EXPECT_EQ(row["fece_candidates"][1], json::parse(R"({"detection": 1, "verdict": "failed"})"));
}

// Its numbers are all not-a-number in both patches of a picture without blue.
TEST_F(Detect, WarnsOfNumbersThatAreNotFinite) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result = RunProgram(
      Command(CommonNetwork("seg-b2-64-nan")) +
      Arguments{"--output", folder_ / "out", Picture("magenta.png", test::kMagentaPixel), red});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.errors,
              HasSubstr("libtessmar_ai_engine: output 'output0' has 6384 of 6384 numbers that are "
                        "not finite, output 'output1' has 16384 of 16384 "));
  EXPECT_THAT(result.errors,
              HasSubstr("dirty_seg: warning: '" + red +
                        "': the network gave numbers that are not finite (6384 in 'output0', 16384 "
                        "in 'output1'): they are left out, so dirt may be missed\n"));
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: 2 of 2 inputs processed, 1 of 2 frames with "
                                       "numbers that are not finite; results in "));
  const std::vector<json> rows = ParseLines(ReadFile(folder_ / "out/results.jsonl"));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_FALSE(rows[0].contains("non_finite"));
  EXPECT_EQ(rows[0]["labels"].dump(), "[0,0]");
  EXPECT_EQ(rows[1]["success"], true);
  EXPECT_EQ(rows[1]["non_finite"].dump(), R"({"output0":6384,"output1":16384})");
  EXPECT_EQ(json::parse(ReadFile(folder_ / "out/summary.json"))["non_finite_frames"], 1);
}

TEST_F(Detect, WarnsOfAClassThatTheNetworkDoesNotName) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result =
      RunProgram(Command() + Classifier(CommonNetwork("classifier-224"), "0,7") + Arguments{red});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors,
            "dirty_seg: warning: --fece-class-ids 7: the segmentation network names no such class, "
            "so it has no effect\n");
}

TEST_F(Detect, EndsAtTheFirstResultThatCannotBeWritten) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result = RunProgram(Command() + Arguments{red, red}, {}, "/dev/full");
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors, "dirty_seg: error: '" + red +
                               "': the result cannot be written to standard output: No space left "
                               "on device\ndirty_seg: error: the run ends here, as nothing more "
                               "can be kept: 0 of 2 inputs processed; 0 frames of results are in "
                               "standard output\n");
}

// One thread takes each frame to its end before the next; two read ahead and write behind.
TEST_F(Detect, TellsTheSameInTheSameOrderHoweverItIsThreaded) {
  const std::string red = Picture("red.png", test::kRedPixel);
  std::string stray = ReadFile(Picture("red.jpg", test::kRedPixel));
  stray.insert(20, "stray");  // after the first segment: the decoder warns of it
  const Arguments inputs{red,
                         folder_.Write("stray.jpg", stray),
                         folder_ / "missing.png",
                         folder_.Write("broken.png", "no picture"),
                         Picture("small.png", test::kRedPixel, {8, 8}),
                         Picture("green.png", test::kGreenPixel),
                         red};
  const Arguments options{"--verbose", "--output", folder_ / "out", "--overwrite", "--threads"};
  const std::regex times(R"([0-9]+\.[0-9]+ ?ms)");
  std::string messages;
  json rows;
  for (const char* threads : {"1", "2", "2"}) {
    const ProgramResult result =
        RunProgram(Command(CommonNetwork("seg-b2-64-nan")) + options + Arguments{threads} + inputs);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.output, "");
    json found = ParseLines(ReadFile(folder_ / "out/results.jsonl"));
    for (json& row : found) row.erase("timing_ms");
    const std::string told = std::regex_replace(result.errors, times, "N ms");
    if (messages.empty()) {
      messages = told;
      rows = found;
    }
    EXPECT_EQ(told, messages);
    EXPECT_EQ(found, rows);
  }
  EXPECT_EQ(rows.size(), 5U);  // all but the two that are no pictures
}

// The list is open and empty: no next line would ever end the wait for it.
TEST_F(Detect, EndsWhileItWaitsForAListOnceAResultCannotBeWritten) {
  RunningProgram program(Command() + Arguments{"-"}, "/dev/full", folder_ / "errors");
  program.WriteInput(Picture("red.png", test::kRedPixel) + "\n");
  EXPECT_EQ(program.Wait(), 1);
  EXPECT_THAT(test::ReadFile(folder_ / "errors"),
              HasSubstr("the run ends here, as nothing more can be kept: 0 inputs processed; "));
}

// ---- Output folders -----------------------------------------------------------------------------

TEST_F(Detect, RefusesAFolderThatIsNotEmptyUnlessTold) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const Arguments command = Command() + Arguments{"--output", folder_ / "out", red};
  EXPECT_EQ(RunProgram(command).status, 0);
  const std::string before = ReadFile(folder_ / "out/results.jsonl");
  EXPECT_EQ(RefusalOf(command),
            "dirty_seg: error: --output '" + folder_ / "out" +
                "': the folder is not empty; expected a new one, or --overwrite to replace what is "
                "there\n");
  EXPECT_EQ(ReadFile(folder_ / "out/results.jsonl"), before);
  EXPECT_EQ(RunProgram(command + Arguments{"--overwrite"}).status, 0);
  EXPECT_EQ(ParseLines(ReadFile(folder_ / "out/results.jsonl")).size(), 1U);
}

TEST_F(Detect, SavesEachRunInAFolderOfItsOwn) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder_.path());
  const Arguments command = Command() + Arguments{"--save", red};
  EXPECT_THAT(RunProgram(command).errors, HasSubstr("results in 'runs/detect/results.jsonl'\n"));
  EXPECT_THAT(RunProgram(command).errors, HasSubstr("results in 'runs/detect2/results.jsonl'\n"));
  std::filesystem::current_path(before);
  for (const char* run : {"runs/detect", "runs/detect2"}) {
    const json row = ParseLines(ReadFile(folder_ / run + "/results.jsonl")).at(0);
    EXPECT_EQ(row["overlay"], "red.overlay.jpg");
  }
}

TEST_F(Detect, SumsARunUp) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const std::string missing = folder_ / "missing.png";
  const std::string out = folder_ / "out";
  RunProgram(Command() + Arguments{"--output", out, red, missing, red});
  const json summary = json::parse(ReadFile(out + "/summary.json"));
  EXPECT_EQ(summary["program"], "dirty_seg " DIRTY_SEG_VERSION);
  EXPECT_EQ(summary["model"], CommonNetwork("seg-b2-64"));
  EXPECT_EQ(summary["config"], folder_ / "config.yaml");
  EXPECT_EQ(summary["inputs"], 3);
  EXPECT_EQ(summary["frames"], 2);
  EXPECT_EQ(summary["failed"], 1);
  EXPECT_EQ(summary["interrupted"], false);
  EXPECT_EQ(summary["detections"], json::parse(R"({"0": 4})"));
  EXPECT_EQ(summary["label_names"], json::parse(R"({"0": "red"})"));
  std::vector<double> totals;
  for (const json& row : ParseLines(ReadFile(out + "/results.jsonl"))) {
    totals.push_back(row["timing_ms"]["total"]);
  }
  ASSERT_EQ(totals.size(), 2U);
  const json& total = summary["timing_ms"]["total"];
  EXPECT_EQ(total["p50"], std::min(totals[0], totals[1]));
  EXPECT_EQ(total["p99"], std::max(totals[0], totals[1]));
  EXPECT_EQ(total["worst"], std::max(totals[0], totals[1]));
}

// ---- The library's log --------------------------------------------------------------------------

TEST_F(Detect, ShowsTheLogOnStandardErrorWhenVerbose) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result = RunProgram(Command() + Arguments{"-v", red});
  EXPECT_EQ(ParseLines(result.output).size(), 1U);
  EXPECT_THAT(result.errors, StartsWith("  1 [INFO] Initing dirty seg detector model succeed\n"));
  EXPECT_THAT(result.errors, HasSubstr("[INFO] Total crops: 2\n"));
}

TEST_F(Detect, ShowsTheLogFromTheLevelThatIsAskedFor) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const auto log_at = [&](const char* level) {
    return RunProgram(Command() + Arguments{"--log-level", level, red}, {"SPDLOG_LEVEL=critical"})
        .errors;
  };
  EXPECT_THAT(log_at("debug"), HasSubstr("[DEBUG] "));
  EXPECT_THAT(log_at("info"), AllOf(HasSubstr("[INFO] "), Not(HasSubstr("[DEBUG] "))));
  for (const char* level : {"warning", "warn", "error", "err", "critical", "off"}) {
    EXPECT_EQ(log_at(level), "") << level;
  }
  const ProgramResult shown = RunProgram(Command() + Arguments{"-v", red}, {"SPDLOG_LEVEL=warn"});
  EXPECT_EQ(shown.errors, "");
}

TEST_F(Detect, SaysErrorsAloneWhenQuiet) {
  const std::string tiny = Picture("tiny.png", test::kRedPixel, {100, 100});
  const std::string missing = folder_ / "missing.png";
  const ProgramResult result =
      RunProgram(Command() + Arguments{"-q", "--output", folder_ / "out", tiny, missing},
                 {"SPDLOG_LEVEL=odd"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.errors,
            "dirty_seg: error: '" + missing + "': cannot be opened: No such file or directory\n");
}

TEST_F(Detect, ShowsTheLogOnStandardOutputToWhomSetsTheVariable) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result = RunProgram(Command() + Arguments{red}, {"SPDLOG_STDOUT=true"});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output, StartsWith("  1 [INFO] Initing dirty seg detector model succeed\n"));
  EXPECT_THAT(result.output, HasSubstr("\n{\"schema_version\":1,\"source\":"));
  EXPECT_THAT(result.output, Not(HasSubstr("environment variable")));
  EXPECT_EQ(result.errors, "");
}

TEST_F(Detect, KeepsStandardOutputPureUnderTheOtherVariables) {
  const std::string red = Picture("red.png", test::kRedPixel);
  for (const char* variable : {"SPDLOG_STDOUT=false", "SPDLOG_LEVEL=debug", "SPDLOG_LEVEL=trace",
                               "SPDLOG_SYSTEMD=false", "SPDLOG_SYSTEMD=true"}) {
    SCOPED_TRACE(variable);
    const ProgramResult result = RunProgram(Command() + Arguments{red}, {variable});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "");
    const std::vector<json> rows = ParseLines(result.output);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_TRUE(rows[0]["timing_ms"].contains("inference"));
  }
}

TEST_F(Detect, TellsAVariablesValueThatNobodyUnderstands) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult level = RunProgram(Command() + Arguments{red}, {"SPDLOG_LEVEL=loud"});
  EXPECT_EQ(ParseLines(level.output).size(), 1U);
  EXPECT_THAT(level.errors, StartsWith("dirty_seg: warning: SPDLOG_LEVEL is 'loud', not one of "));
  const ProgramResult journal = RunProgram(Command() + Arguments{red}, {"SPDLOG_SYSTEMD=on"});
  EXPECT_EQ(journal.errors, "environment variable SPDLOG_SYSTEMD is invalid, and set false\n");
}

// What a person wants to see is not what is written.
TEST_F(Detect, WritesTheSameWhateverLevelIsShown) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const Arguments command = Command() + Classifier(CommonNetwork("classifier-224"));
  const auto written = [&](const Arguments& more, const std::vector<std::string>& variables) {
    json row = ParseLines(RunProgram(command + more + Arguments{red}, variables).output).at(0);
    EXPECT_THAT(KeysOf(row["timing_ms"]),
                ElementsAre("classify", "convert", "inference", "postprocess", "preprocess", "read",
                            "total", "write"));
    row.erase("timing_ms");
    return row.dump();
  };
  const std::string usual = written({}, {});
  EXPECT_THAT(usual, HasSubstr("\"fece_candidates\":[{"));
  for (const char* level : {"debug", "warning", "warn", "error", "err", "critical", "off", "odd"}) {
    const std::string variable = std::string("SPDLOG_LEVEL=") + level;
    EXPECT_EQ(written({}, {variable}), usual) << level;
    EXPECT_EQ(written({}, {variable, "SPDLOG_SYSTEMD=true"}), usual) << level;
    if (level != std::string("odd")) {
      EXPECT_EQ(written({"--log-level", level}, {}), usual) << level;
    }
  }
}

TEST_F(Detect, TellsACauseWhateverLevelIsShown) {
  const std::string red = Picture("red.png", test::kRedPixel);
  for (const char* journal : {"SPDLOG_SYSTEMD=false", "SPDLOG_SYSTEMD=true"}) {
    const ProgramResult result =
        RunProgram(Command(HostNetwork("seg-fails-on-red")) + Arguments{red},
                   {"SPDLOG_LEVEL=critical", journal});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(ParseLines(result.output).at(0)["message"],
              "Dirty seg detection inference status is 5");
  }
}

// ---- Refusals: exit status 2 --------------------------------------------------------------------

TEST_F(Detect, RefusesAModelThatIsMissing) {
  const std::string model = folder_ / "missing.onnx";
  const std::string errors = RefusalOf(Command(model) + Arguments{"x.png"});
  EXPECT_THAT(errors, HasSubstr("'" + model + "': cannot be opened: No such file or directory"));
  EXPECT_THAT(errors, HasSubstr("dirty_seg: error: '" + model +
                                "': cannot be used as the segmentation network; the engine's "
                                "message above says why\n"));
}

TEST_F(Detect, RefusesATruncatedModel) {
  const std::string whole = ReadFile(CommonNetwork("seg-b2-64"));
  const std::string model = folder_.Write("cut.onnx", whole.substr(0, whole.size() / 2));
  const std::string errors = RefusalOf(Command(model) + Arguments{"x.png"});
  EXPECT_THAT(errors, HasSubstr("'" + model + "': ends in the middle: it has "));
}

TEST_F(Detect, RefusesATextThatIsNamedOnnx) {
  const std::string model = folder_.Write("text.onnx", "This is a text.\n");
  const std::string errors = RefusalOf(Command(model) + Arguments{"x.png"});
  EXPECT_THAT(errors, HasSubstr("'" + model +
                                "': is a text that begins with \"This is a text.\"; "
                                "expected an ONNX file\n"));
}

TEST_F(Detect, RefusesANetworkThatIsNoSegmentation) {
  const std::string model = CommonNetwork("boxes-only");
  const std::string errors = RefusalOf(Command(model) + Arguments{"x.png"});
  EXPECT_THAT(errors,
              HasSubstr("dirty_seg: error: '" + model + "' with '" + folder_ / "config.yaml" +
                        "': not a YOLOv8 segmentation network: "));
}

// Neither library nor runtime keeps a file of its own, or reports to anybody.
TEST_F(Detect, LeavesAnEmptyHomeEmpty) {
  const std::string home = folder_ / "home";
  std::filesystem::create_directory(home);
  const ProgramResult result =
      RunProgram(Command() + Arguments{Picture("white.png", {255, 255, 255})}, {"HOME=" + home});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_TRUE(std::filesystem::is_empty(home));
}

TEST_F(Detect, RefusesMorePatchesThanTheBatchHasSlots) {
  const std::string yaml = std::string(kPatches) + "    - [0, 0, 640, 640]\n";
  EXPECT_THAT(RefusalOf(Command(CommonNetwork("seg-b2-64"), yaml) + Arguments{"x.png"}),
              HasSubstr("its batch of 2 is too small for the 3 patches of the configuration"));
}

TEST_F(Detect, RefusesAPatchOutsideTheFrame) {
  const std::string yaml = std::string(kPatches) + "    - [1920, 0, 640, 640]\n";
  EXPECT_EQ(RefusalOf(Command(CommonNetwork("seg-b2-64"), yaml) + Arguments{"x.png"}),
            "dirty_seg: error: '" + folder_ / "config.yaml" +
                "' line 6: patch 2 (counted from 0) '[1920, 0, 640, 640]' lies outside the frame; "
                "expected x < 1920, y < 1080\n");
}

TEST_F(Detect, RefusesAConfigurationOfTheWrongType) {
  EXPECT_EQ(RefusalOf(Command(CommonNetwork("seg-b2-64"),
                              "patch: {enable: perhaps, patches: [[0, 0, 64, 64]]}") +
                      Arguments{"x.png"}),
            "dirty_seg: error: '" + folder_ / "config.yaml" +
                "' line 1: patch.enable is 'perhaps'; expected true or false\n");
  const std::string yaml = std::string(kPatches) + "postprocess:\n  iou_threshold: high\n";
  EXPECT_THAT(RefusalOf(Command(CommonNetwork("seg-b2-64"), yaml) + Arguments{"x.png"}),
              HasSubstr("config.yaml' line 7: postprocess.iou_threshold is 'high'; expected a "
                        "number from 0 to 1\n"));
}

// What 'check' says of a file, with its "PATH:LINE: error: " in the form of a message.
TEST_F(Detect, RefusesWhatCheckCallsAnErrorWithTheSameWords) {
  const std::string patches = std::string(kPatches);
  for (const std::string& yaml :
       {patches + "postproces: {score_threshold: 0.5}\n", patches + "  enabel: true\n",
        patches + "postprocess: {scor_threshold: 0.5}\n", patches + "  enable: true\n",
        patches + "postprocess: {iou_threshold: 0.5, iou_threshold: 0.6}\n", patches + patches,
        patches + "    - [0, 0, 1920, 2]\n"}) {
    const std::string config = folder_.Write("config.yaml", yaml);
    const std::string model = CommonNetwork("seg-dynamic");
    const std::string checked = RunProgram({"check", config, "--model", model}).output;
    const std::regex error(".*:(\\d+): error: (.*)\n.*");
    std::smatch match;
    ASSERT_TRUE(std::regex_search(checked, match, error)) << yaml << checked;
    const std::string expected =
        "dirty_seg: error: '" + config + "' line " + match[1].str() + ": " + match[2].str() + "\n";
    for (const char* command : {"detect", "bench", "dump"}) {
      EXPECT_EQ(RefusalOf({command, "--model", model, "--config", config, "x.png"}), expected)
          << yaml;
    }
  }
}

TEST_F(Detect, TakesAFileThatServesOthersToo) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result =
      RunProgram(Command(CommonNetwork("seg-b2-64"), std::string(kPatches) + "camera: front\n") +
                 Arguments{red});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
}

TEST_F(Detect, NamesEveryErrorOfAFile) {
  const std::string file = "dirty_seg: error: '" + folder_ / "config.yaml" + "'";
  EXPECT_EQ(
      RefusalOf(
          Command(CommonNetwork("seg-b2-64"), "patch: {enabel: true, patches: [[0, 0, 64, 64]]}") +
          Arguments{"x.png"}),
      file + " line 1: patch.enable is missing; expected true or false\n" + file +
          " line 1: patch.enabel is not a known key and has no effect; did you mean 'enable'?\n" +
          file + " has these 2 errors; 'dirty_seg check' shows them with warnings\n");
}

TEST_F(Detect, RefusesAClassifierOfAnotherSize) {
  const std::string model = CommonNetwork("classifier-112");
  EXPECT_EQ(RefusalOf(Command() + Classifier(model) + Arguments{"x.png"}),
            "dirty_seg: error: '" + model +
                "': input 'input' is float32 [1, 3, 112, 112]; expected float32 [1, 3, 224, "
                "224]\n");
}

TEST_F(Detect, RefusesAnOutputFolderThatCannotBeMade) {
  const std::string out = folder_.Write("file", "") + "/out";
  EXPECT_EQ(
      RefusalOf(Command() + Arguments{"--output", out, "x.png"}),
      "dirty_seg: error: --output '" + out + "': the folder cannot be made: Not a directory\n");
}

struct Usage {
  const char* name;
  Arguments arguments;
  const char* message;
  const char* help = "dirty_seg detect --help";

  friend std::ostream& operator<<(std::ostream& stream, const Usage& usage) {
    return stream << testing::PrintToString(usage.arguments);
  }
};

class DetectUsage : public testing::TestWithParam<Usage> {};

TEST_P(DetectUsage, IsRefusedWithTheCause) {
  const ProgramResult result = RunProgram(GetParam().arguments);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.errors, std::string("dirty_seg: error: ") + GetParam().message + "; '" +
                               GetParam().help + "' shows the usage\n");
}

const Arguments kEnough{"detect", "--model", "m", "--config", "c", "x.png"};

INSTANTIATE_TEST_SUITE_P(
    All, DetectUsage,
    testing::Values(
        Usage{"NoCommand", {}, "A subcommand is required", "dirty_seg --help"},
        Usage{"NoInput", {"detect", "--model", "m", "--config", "c"}, "INPUT is required"},
        Usage{"UnknownOption", kEnough + Arguments{"--nonsense"},
              "The following argument was not expected: --nonsense"},
        Usage{"ClassifierWithoutClasses", kEnough + Arguments{"--fece-model", "f"},
              "--fece-model requires --fece-class-ids"},
        Usage{"ClassesWithoutClassifier", kEnough + Arguments{"--fece-class-ids", "0"},
              "--fece-class-ids requires --fece-model"},
        Usage{"ScoreWithoutClassifier", kEnough + Arguments{"--fece-score-threshold", "0.5"},
              "--fece-score-threshold requires --fece-model"},
        Usage{"AreaWithoutClassifier", kEnough + Arguments{"--fece-area-threshold", "400"},
              "--fece-area-threshold requires --fece-model"},
        Usage{"ClassThatIsNoNumber",
              kEnough + Arguments{"--fece-model", "f", "--fece-class-ids", "0,faeces"},
              "--fece-class-ids: faeces is not a class id, a whole number from 0"},
        Usage{"NegativeClass", kEnough + Arguments{"--fece-model", "f", "--fece-class-ids", "-1"},
              "--fece-class-ids: -1 is not a class id, a whole number from 0"},
        Usage{"ScoreAboveOne",
              kEnough + Arguments{"--fece-model", "f", "--fece-class-ids", "0",
                                  "--fece-score-threshold", "1.5"},
              "--fece-score-threshold: 1.5 is not a number from 0 to 1"},
        Usage{"ScoreThatIsNoNumber",
              kEnough + Arguments{"--fece-model", "f", "--fece-class-ids", "0",
                                  "--fece-score-threshold", "nan"},
              "--fece-score-threshold: nan is not a number from 0 to 1"},
        Usage{"NegativeArea",
              kEnough + Arguments{"--fece-model", "f", "--fece-class-ids", "0",
                                  "--fece-area-threshold", "-4"},
              "--fece-area-threshold: -4 is not a number of pixels from 0"},
        Usage{"UnknownLevel", kEnough + Arguments{"--log-level", "loud"},
              "--log-level: loud is not one of trace, debug, info, warning, warn, error, err, "
              "critical, off"},
        Usage{"QuietAndVerbose", kEnough + Arguments{"-q", "-v"}, "--verbose excludes --quiet"},
        Usage{"SaveAndOutput", kEnough + Arguments{"--save", "--output", "out"},
              "--output excludes --save"},
        Usage{"OverwriteWithoutOutput", kEnough + Arguments{"--overwrite"},
              "--overwrite requires --output"},
        Usage{"NoFrameStep", kEnough + Arguments{"--frame-step", "0"},
              "--frame-step: 0 is not a whole number from 1 to 1000000"},
        Usage{"CropsWithoutClassifier", kEnough + Arguments{"--crops"},
              "--crops requires --fece-model"},
        Usage{"FractionOfAThread", kEnough + Arguments{"--threads", "1.5"},
              "--threads: 1.5 is not a whole number from 0 to 1024"}),
    [](const auto& test) { return test.param.name; });

TEST(Program, ShowsHelpAndVersionOnStandardOutput) {
  for (const Arguments& arguments : {Arguments{"--help"}, Arguments{"detect", "--help"}}) {
    const ProgramResult result = RunProgram(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.output, HasSubstr("Usage: dirty_seg"));
    EXPECT_EQ(result.errors, "");
  }
  const ProgramResult version = RunProgram({"--version"});
  EXPECT_EQ(version.status, 0);
  EXPECT_EQ(version.output, "dirty_seg " DIRTY_SEG_VERSION "\n");
}

TEST(Program, ShowsAHelpThatFitsAScreen) {
  std::istringstream help(RunProgram({"detect", "--help"}).output);
  int lines = 0;
  for (std::string line; std::getline(help, line); ++lines) EXPECT_LE(line.size(), 80U) << line;
  EXPECT_LE(lines, 24);
}

class DetectThresholds : public test::DetectFixture {
 protected:
  nlohmann::json Run(const Arguments& more) {
    const ProgramResult result = RunProgram(
        Command(test::CommonNetwork("seg-b2-64"),
                std::string(test::kPatches) + "postprocess: {iou_threshold: 0.6}") +
        Arguments{"--output", folder_ / "out", "--overwrite", Picture("red.png", test::kRedPixel)} +
        more);
    EXPECT_EQ(result.status, 0) << result.errors;
    return nlohmann::json::parse(test::ReadFile(folder_ / "out/summary.json"));
  }
};

TEST_F(DetectThresholds, StandInTheSummary) {
  const nlohmann::json summary = Run({});
  EXPECT_EQ(summary["thresholds"], nlohmann::json::parse(R"({"score_threshold": 0.25,
      "iou_threshold": 0.6, "max_detections": 300, "class_agnostic": false,
      "mask_threshold": 0.5, "score_thresholds": {}})"));
  EXPECT_EQ(summary["detections"], nlohmann::json({{"0", 2}}));
}

// The network's score is 1, which is not greater than 1.
TEST_F(DetectThresholds, OfTheCommandLineTakeThePlaceOfTheFiles) {
  const nlohmann::json summary =
      Run({"--conf", "1", "--iou", "0.45", "--max-det", "7", "--mask-threshold", "0.125"});
  EXPECT_EQ(summary["thresholds"], nlohmann::json::parse(R"({"score_threshold": 1.0,
      "iou_threshold": 0.45, "max_detections": 7, "class_agnostic": false,
      "mask_threshold": 0.125, "score_thresholds": {}})"));
  EXPECT_EQ(summary["detections"], nlohmann::json::object());
  EXPECT_EQ(summary["config"], folder_ / "config.yaml");
}

TEST_F(DetectThresholds, OfTheCommandLineCountForEveryClass) {
  const ProgramResult result = RunProgram(
      Command(test::CommonNetwork("seg-b2-64"),
              std::string(test::kPatches) + "postprocess: {score_thresholds: {0: 0.1}}") +
      Arguments{"--conf", "1", Picture("red.png", test::kRedPixel)});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_EQ(ParseLines(result.output).at(0)["labels"], nlohmann::json::array());
}

// The network finds class 0.
TEST_F(DetectThresholds, LeaveOutClassesThatAreNotWanted) {
  nlohmann::json summary = Run({"--classes", "0,1"});
  EXPECT_EQ(summary["thresholds"]["classes"], nlohmann::json({0, 1}));
  EXPECT_EQ(summary["detections"], nlohmann::json({{"0", 2}}));
  summary = Run({"--classes", "1"});
  EXPECT_EQ(summary["detections"], nlohmann::json::object());
}

TEST_F(DetectThresholds, ThatAreNoneAreRefused) {
  for (const Arguments& wrong : {Arguments{"--conf", "1.5"}, Arguments{"--iou", "nan"},
                                 Arguments{"--mask-threshold", "x"}}) {
    EXPECT_EQ(RefusalOf(Command() + wrong + Arguments{"x.png"}),
              "dirty_seg: error: " + wrong[0] + ": " + wrong[1] +
                  " is not a number from 0 to 1; 'dirty_seg detect --help' shows the usage\n");
  }
  EXPECT_EQ(RefusalOf(Command() + Arguments{"--max-det", "0", "x.png"}),
            "dirty_seg: error: --max-det: 0 is not a whole number from 1 to 100000; 'dirty_seg "
            "detect --help' shows the usage\n");
}

}  // namespace
}  // namespace dirty_seg
