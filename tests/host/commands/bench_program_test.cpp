// The built program's `bench` on real files.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/temporary_folder.h"
#include "support/videos.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::CommonNetwork;
using test::HostNetwork;
using test::ProgramResult;
using test::RunProgram;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Arguments = std::vector<std::string>;

constexpr const char* kTwoPatches =
    "patch: {enable: true, patches: [[0, 0, 64, 64], [640, 440, 64, 64]]}\n";
constexpr const char* kOnePatch = "patch: {enable: true, patches: [[0, 0, 64, 64]]}\n";

Arguments operator+(Arguments first, const Arguments& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

class BenchCommand : public testing::Test {
 protected:
  Arguments Command(const std::string& model = CommonNetwork("seg-b2-64")) {
    return {
        "bench",    "--model", model,      "--config", folder_.Write("config.yaml", kTwoPatches),
        "--rounds", "4",       "--warmup", "1"};
  }

  std::string Picture(const std::string& name, const cv::Scalar& colour) {
    return test::WritePicture(folder_ / name, test::Plain(test::kFrame, colour));
  }

  // Green frames, the third one red.
  std::string Clip(const std::string& name, int count) {
    std::vector<cv::Mat> frames;
    for (int i = 0; i < count; ++i) {
      frames.push_back(test::Plain(test::kFrame, i == 2 ? test::kRedPixel : test::kGreenPixel));
    }
    return test::WriteVideo(folder_ / name, frames, 10.0);
  }

  // Which side ran when. The log says how many patches each run cut: two are A, one is B. Another
  // process measures the memory, and its log is not seen.
  static std::string Order(const std::string& output) {
    std::string order;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
      const std::size_t place = line.find("Total crops: ");
      if (place != std::string::npos) order += line[place + 13] == '2' ? 'A' : 'B';
    }
    return order;
  }

  test::TemporaryFolder folder_;
};

TEST_F(BenchCommand, MeasuresOneSide) {
  const ProgramResult result =
      RunProgram(Command() + Arguments{"--json", Picture("red.png", test::kRedPixel)});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  const json root = json::parse(result.output);
  EXPECT_EQ(root["program"], "dirty_seg " DIRTY_SEG_VERSION);
  EXPECT_EQ(root["frames"], 1);
  EXPECT_EQ(root["rounds"], 4);
  EXPECT_FALSE(root.contains("b"));
  EXPECT_FALSE(root.contains("differences"));
  for (const char* stage : {"preprocess", "inference", "postprocess", "convert", "total"}) {
    const json& times = root["a"]["timing_ms"][stage];
    EXPECT_LE(times["p50"].get<double>(), times["p95"].get<double>()) << stage;
    EXPECT_EQ(times["p99"], times["worst"]) << stage;  // of four runs
  }
  const json& total = root["a"]["timing_ms"]["total"];
  EXPECT_GT(total["p50"].get<double>(), 0.0);
  EXPECT_NEAR(root["a"]["frames_per_second"].get<double>() * total["mean"].get<double>(), 1000.0,
              1e-6);
  // The picture alone has 6 MB.
  EXPECT_GT(root["a"]["peak_memory_bytes"].get<std::int64_t>(), 1920 * 1080 * 3);
}

TEST_F(BenchCommand, MeasuresTheClassifierWhereThereIsOne) {
  const Arguments classifier{"--fece-model", CommonNetwork("classifier-224"), "--fece-class-ids",
                             "0"};
  const std::string red = Picture("red.png", test::kRedPixel);
  const json root =
      json::parse(RunProgram(Command() + classifier + Arguments{"--json", red}).output);
  EXPECT_GT(root["a"]["timing_ms"]["classify"]["p50"].get<double>(), 0.0);
  EXPECT_THAT(RunProgram(Command() + classifier + Arguments{red}).output, HasSubstr("\nclassify "));
  EXPECT_THAT(RunProgram(Command() + Arguments{red}).output, Not(HasSubstr("classify")));
}

TEST_F(BenchCommand, RunsTwoSidesInTurns) {
  const std::string config_b = folder_.Write("b.yaml", kOnePatch);
  const ProgramResult result =
      RunProgram(Command() + Arguments{"--config-b", config_b, Picture("red.png", test::kRedPixel)},
                 {"SPDLOG_STDOUT=true"});
  // Warm-up, the run to compare, four rounds.
  EXPECT_EQ(Order(result.output),
            "AB"
            "AB"
            "AB"
            "BA"
            "AB"
            "BA");
}

TEST_F(BenchCommand, TellsWhatQuantisingChanges) {
  // 0.5 of red is exact in steps of 0.25; 0.6 of green is not.
  const Arguments pictures{Picture("red.png", test::kRedPixel),
                           Picture("green.png", cv::Scalar(0, 153, 0))};
  const ProgramResult result =
      RunProgram(Command() +
                 Arguments{"--model-b", CommonNetwork("seg-b2-64-quantised"), "--json"} + pictures);
  EXPECT_EQ(result.status, 0);
  const json root = json::parse(result.output);
  EXPECT_EQ(root["a"]["model"], CommonNetwork("seg-b2-64"));
  EXPECT_EQ(root["b"]["model"], CommonNetwork("seg-b2-64-quantised"));
  EXPECT_EQ(root["b"]["config"], root["a"]["config"]);
  const json& differences = root["differences"];
  EXPECT_EQ(differences["frames"], 2);
  EXPECT_EQ(differences["matched"], 4);
  EXPECT_EQ(differences["only_in_b"], 0);
  EXPECT_EQ(differences["box_distance"]["worst"], 0.0);
  EXPECT_EQ(differences["mask_iou"]["1"]["worst"], 1.0);
  const double worst = differences["score_difference"]["worst"];
  EXPECT_GT(worst, 0.0);
  EXPECT_NEAR(differences["score_difference"]["mean"].get<double>(), worst / 2, 1e-6);
  const json& ratio = root["ratios"]["total"];
  EXPECT_EQ(ratio["median_a"], root["a"]["timing_ms"]["total"]["p50"]);
  EXPECT_EQ(ratio["b_to_a"].get<double>(),
            ratio["median_b"].get<double>() / ratio["median_a"].get<double>());
}

TEST_F(BenchCommand, CountsTheFramesWhoseNumbersAreNotFinite) {
  const Arguments pictures{Picture("red.png", test::kRedPixel),
                           Picture("magenta.png", test::kMagentaPixel)};
  const ProgramResult result = RunProgram(
      Command() + Arguments{"--model-b", CommonNetwork("seg-b2-64-nan"), "--json"} + pictures);
  EXPECT_EQ(result.status, 0);
  const json root = json::parse(result.output);
  EXPECT_EQ(root["a"]["non_finite_frames"], 0);
  EXPECT_EQ(root["b"]["non_finite_frames"], 1);  // that without blue
}

TEST_F(BenchCommand, WritesATableToRead) {
  const ProgramResult result =
      RunProgram(Command() + Arguments{"--threads-b", "1", Picture("red.png", test::kRedPixel)});
  EXPECT_EQ(result.status, 0);
  EXPECT_THAT(result.output,
              StartsWith("A  " + CommonNetwork("seg-b2-64") + " with " + folder_ / "config.yaml" +
                         ", all cores\nB  " + CommonNetwork("seg-b2-64") + " with " +
                         folder_ / "config.yaml" +
                         ", threads: 1\n1 frames, 4 rounds each after 1 of warm-up, A and B in "
                         "turns\n\nms "));
  EXPECT_THAT(result.output,
              HasSubstr("detections          2 matched, 0 only in A, 0 only in B, 0 of another"));
  EXPECT_THAT(result.output, HasSubstr(" MiB\n"));
}

TEST_F(BenchCommand, ChangesTheClassifierToo) {
  // Magenta is confirmed with a probability of 0.60 by the one, and not by the other, which fails.
  const ProgramResult result = RunProgram(
      Command() + Arguments{"--fece-model", CommonNetwork("classifier-224"), "--fece-class-ids",
                            "0", "--fece-model-b", HostNetwork("classifier-fails-on-red"), "--json",
                            Picture("magenta.png", test::kMagentaPixel)});
  EXPECT_EQ(result.status, 0);
  const json root = json::parse(result.output);
  EXPECT_EQ(root["differences"]["class_changes"], 2);
  EXPECT_EQ(root["differences"]["mask_iou"]["19"]["worst"], 0.0);
}

TEST_F(BenchCommand, NamesAPictureThatFailsAndMeasuresTheRest) {
  const std::string missing = folder_ / "missing.png";
  const std::string green = Picture("green.png", test::kGreenPixel);
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult result =
      RunProgram(Command() + Arguments{"--model-b", HostNetwork("seg-fails-on-red"), "--json",
                                       missing, green, red});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: error: '" + missing +
                                       "': cannot be opened: No such file or directory\n"));
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: error: '" + red +
                                       "': Dirty seg detection inference status is 5\n"));
  const json root = json::parse(result.output);
  EXPECT_EQ(root["frames"], 1);
  EXPECT_EQ(root["failed"], 2);
  EXPECT_EQ(root["differences"]["frames"], 1);
  EXPECT_TRUE(root["b"].contains("peak_memory_bytes"));
}

// Two sides that cut two patches and one; the log says which.
TEST_F(BenchCommand, TakesAVideosFramesInTurnsToo) {
  const std::string clip = Clip("clip.avi", 5);
  const ProgramResult result =
      RunProgram(Command() + Arguments{"--config-b", folder_.Write("b.yaml", kOnePatch),
                                       "--frame-step", "3", clip},
                 {"SPDLOG_STDOUT=true"});
  EXPECT_EQ(result.status, 0);
  // Warm-up, then for each of two frames the run to compare and four rounds.
  EXPECT_EQ(Order(result.output),
            "AB"
            "AB"
            "ABBAABBA"
            "AB"
            "ABBAABBA");
  EXPECT_THAT(result.output, HasSubstr("2 frames, 4 rounds each"));
}

TEST_F(BenchCommand, TakesWhatDetectTakes) {
  folder_.MakeFolder("in/deep");
  Picture("in/red.png", test::kRedPixel);
  Picture("in/deep/green.png", test::kGreenPixel);
  Clip("in/clip.avi", 4);
  const auto frames = [this](const Arguments& inputs, const std::string& list = "") {
    const ProgramResult result = RunProgram(Command() + Arguments{"--json"} + inputs, {}, "", list);
    EXPECT_EQ(result.status, 0) << result.errors;
    const json root = json::parse(result.output);
    EXPECT_TRUE(root["a"].contains("peak_memory_bytes"));
    return root["frames"].get<int>();
  };
  EXPECT_EQ(frames({folder_ / "in"}), 5);
  EXPECT_EQ(frames({"--recursive", "--max-frames", "3", folder_ / "in"}), 5);
  EXPECT_EQ(frames({folder_ / "in/*.png"}), 1);
  EXPECT_EQ(frames({"-"}, folder_ / "in/red.png" + "\n" + folder_ / "in/deep\n"), 2);
}

TEST_F(BenchCommand, NamesAFrameOfAVideoThatFails) {
  const std::string clip = Clip("clip.avi", 3);
  const ProgramResult result =
      RunProgram(Command(HostNetwork("seg-fails-on-red")) + Arguments{"--json", clip, "camera:63"});
  EXPECT_EQ(result.status, 1);
  EXPECT_THAT(result.errors, HasSubstr("dirty_seg: error: '" + clip +
                                       "' frame 2: Dirty seg detection inference status is 5\n"));
  EXPECT_THAT(result.errors,
              HasSubstr("dirty_seg: error: 'camera:63': there is no /dev/video63\n"));
  EXPECT_EQ(json::parse(result.output)["frames"], 2);
  EXPECT_EQ(json::parse(result.output)["failed"], 2);
}

TEST_F(BenchCommand, WritesNothingWithoutAFrame) {
  const ProgramResult result = RunProgram(Command() + Arguments{folder_ / "missing.png"});
  EXPECT_EQ(result.status, 1);
  EXPECT_EQ(result.output, "");
}

TEST_F(BenchCommand, MeasuresEveryStageWhateverLevelIsShown) {
  const ProgramResult result = RunProgram(
      Command() + Arguments{"--json", Picture("red.png", test::kRedPixel)}, {"SPDLOG_LEVEL=error"});
  EXPECT_EQ(json::parse(result.output)["a"]["timing_ms"].size(), 5U);
}

TEST_F(BenchCommand, ShowsOfTheLogWhatIsAskedFor) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const std::string missing = folder_ / "missing.png";
  const ProgramResult verbose = RunProgram(Command() + Arguments{"-v", "--json", red});
  EXPECT_THAT(verbose.errors, HasSubstr("Total crops: 2"));
  EXPECT_EQ(json::parse(verbose.output)["frames"], 1);
  const ProgramResult level =
      RunProgram(Command() + Arguments{"--log-level", "error", "--json", red});
  EXPECT_EQ(level.errors, "");
  EXPECT_TRUE(json::parse(level.output)["a"]["timing_ms"].contains("inference"));
  EXPECT_EQ(RunProgram(Command() + Arguments{"-q", red, missing}).errors,
            "dirty_seg: error: '" + missing + "': cannot be opened: No such file or directory\n");
  EXPECT_EQ(RunProgram(Command() + Arguments{"-q", "-v", red}).status, 2);
}

TEST_F(BenchCommand, RefusesASideThatCannotRun) {
  const std::string red = Picture("red.png", test::kRedPixel);
  const ProgramResult missing =
      RunProgram(Command() + Arguments{"--model-b", folder_ / "gone.onnx", red});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.output, "");
  EXPECT_THAT(missing.errors, HasSubstr("gone.onnx': cannot be used as the segmentation network"));
  const ProgramResult alone = RunProgram(Command() + Arguments{"--fece-model-b", "f.onnx", red});
  EXPECT_EQ(alone.status, 2);
  EXPECT_THAT(alone.errors, HasSubstr("--fece-model-b requires --fece-model"));
  const ProgramResult rounds = RunProgram(Command() + Arguments{"--rounds", "0", red});
  EXPECT_EQ(rounds.status, 2);
}

}  // namespace
}  // namespace dirty_seg
