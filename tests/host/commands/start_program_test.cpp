// The built program from `init` on: what it writes is used without an edit, by every command that
// takes a host file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <sstream>

#include "support/file_size_limit.h"
#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nlohmann::json;
using test::CommonNetwork;
using test::ProgramResult;
using test::ReadFile;
using test::RunProgram;
using testing::EndsWith;
using testing::HasSubstr;
using Arguments = std::vector<std::string>;

class Start : public testing::Test {
 protected:
  Start() {
    std::filesystem::copy(CommonNetwork("seg-dynamic"), folder_ / "seg.onnx");
    std::filesystem::copy(CommonNetwork("classifier-224"), folder_ / "fece.onnx");
  }

  ProgramResult Init(const Arguments& more) {
    Arguments arguments{"init",     folder_ / "seg.onnx", folder_ / "fece.onnx",
                        "--output", folder_ / "project",  "--fece-class-ids",
                        "0,1"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunProgram(arguments);
  }

  std::string Picture(const cv::Scalar& colour) {
    return test::WritePicture(folder_ / "frame.png", test::Plain(test::kFrame, colour));
  }

  std::string ErrorsOf(const Arguments& arguments) {
    const ProgramResult result = RunProgram(arguments);
    EXPECT_EQ(result.status, 2);
    return result.errors;
  }

  test::TemporaryFolder folder_;
  const std::string host_ = folder_ / "project/host.yaml";
  const std::string config_ = folder_ / "project/config.yaml";
};

TEST_F(Start, QuotesAPathInTheCommandThatItTells) {
  const ProgramResult init = RunProgram({"init", test::CommonNetwork("seg-dynamic"), "--grid",
                                         "1x1", "--output", folder_ / "it's mine"});
  EXPECT_EQ(init.status, 0) << init.errors;
  EXPECT_THAT(init.errors,
              HasSubstr(" --host '" + folder_ / "it'\\''s mine/host.yaml" + "' --save"));
}

// A grid of 2 x 1 on seg-dynamic, which takes any batch: one box of 32 x 16 network pixels in the
// middle of the left top corner of each patch.
TEST_F(Start, LeadsFromTwoNetworksToResultsWithoutAnEdit) {
  const ProgramResult init = Init({"--grid", "2x1", "--overlap", "80"});
  ASSERT_EQ(init.status, 0) << init.errors;
  EXPECT_THAT(init.errors,
              HasSubstr("continue with: dirty_seg detect --host " + host_ + " --save"));

  const ProgramResult check = RunProgram({"check", "--host", host_, "--strict"});
  EXPECT_EQ(check.status, 0) << check.output << check.errors;
  EXPECT_THAT(check.output,
              HasSubstr("0 errors, 0 warnings; 2 patches cover 100.0 % of the frame"));

  const ProgramResult detect =
      RunProgram({"detect", "--host", host_, Picture(test::kMagentaPixel)});
  EXPECT_EQ(detect.status, 0) << detect.errors;
  const json row = json::parse(detect.output);
  EXPECT_EQ(row["labels"], json::parse("[19, 19]"));
}

// A classifier that sees every class takes faces for faeces.
TEST_F(Start, AsksForTheClassifiersClassesWhereNoNameSpeaksOfThem) {
  const Arguments command{"init", folder_ / "seg.onnx", folder_ / "fece.onnx", "--output",
                          folder_ / "project"};
  EXPECT_EQ(
      ErrorsOf(command),
      "dirty_seg: error: '" + folder_ / "seg.onnx" +
          "' names no class like faeces: 0 red, 1 green; expected --fece-class-ids with those "
          "that '" +
          folder_ / "fece.onnx" + "' is to look at\n");
  EXPECT_FALSE(std::filesystem::exists(host_));
  EXPECT_EQ(RunProgram({"init", folder_ / "seg.onnx", "--output", folder_ / "project"}).status, 0);
}

TEST_F(Start, RefusesClassesThatTheNetworkDoesNotHave) {
  EXPECT_EQ(ErrorsOf({"init", folder_ / "seg.onnx", folder_ / "fece.onnx", "--fece-class-ids",
                      "1,2", "--output", folder_ / "project"}),
            "dirty_seg: error: --fece-class-ids 2: '" + folder_ / "seg.onnx" +
                "' has 2 classes; expected 0 to 1\n");
  EXPECT_FALSE(std::filesystem::exists(host_));
}

TEST_F(Start, LaysOutAnyGridForANetworkOfBatchOne) {
  const std::string model = test::CommonNetwork("seg-b1-64");
  const ProgramResult init =
      RunProgram({"init", model, "--grid", "3x2", "--output", folder_ / "one"});
  ASSERT_EQ(init.status, 0) << init.errors;
  EXPECT_THAT(test::ReadFile(folder_ / "one/host.yaml"), HasSubstr("64 x 64, batch any\n"));
  const ProgramResult check = RunProgram({"check", folder_ / "one/config.yaml", "--model", model});
  EXPECT_EQ(check.status, 0) << check.output;
  EXPECT_THAT(check.output, HasSubstr("0 errors"));
  EXPECT_THAT(check.output, HasSubstr("6 patches cover 100.0 % of the frame"));
  const ProgramResult detect =
      RunProgram({"detect", "--host", folder_ / "one/host.yaml", Picture(test::kRedPixel)});
  EXPECT_EQ(detect.status, 0) << detect.errors;
  EXPECT_EQ(json::parse(detect.output)["labels"], json::parse("[0, 0, 0, 0, 0, 0]"));
}

TEST_F(Start, TriesAnOpenBatchWithTheGridsPatches) {
  const std::string model = test::CommonNetwork("seg-dynamic-b2-inside");
  const ProgramResult result =
      RunProgram({"init", model, "--grid", "2x1", "--output", folder_ / "open"});
  EXPECT_EQ(result.status, 0) << result.errors;
  EXPECT_THAT(ErrorsOf({"init", model, "--output", folder_ / "usual"}),
              HasSubstr("this is with 1: try another with --grid"));
}

TEST_F(Start, RefusesANetworksNameThatYamlCannotHold) {
  const std::string model = folder_ / "caf\xe9.onnx";
  std::filesystem::copy_file(folder_ / "seg.onnx", model);
  EXPECT_THAT(ErrorsOf({"init", model, "--output", folder_ / "project"}),
              HasSubstr("is not UTF-8, which is all that YAML holds"));
  EXPECT_FALSE(std::filesystem::exists(host_));
}

TEST_F(Start, SaysInAHostFileTooWhereThresholdsAreSet) {
  const std::string host = folder_.Write("h.yaml", "model: x\nconfig: y\nconf-thres: 0.3\n");
  EXPECT_THAT(
      ErrorsOf({"detect", "--host", host, "a.png"}),
      HasSubstr(
          "line 3: conf-thres is not an option: conf sets this for one run, and the file that "
          "--config names for every run, as postprocess.score_threshold"));
}

// Held against the network that the host file beside it names.
TEST_F(Start, ChecksWhatInitWroteWithoutAWarningAlsoAlone) {
  ASSERT_EQ(Init({}).status, 0);
  const ProgramResult alone = RunProgram({"check", config_, "--strict"});
  EXPECT_EQ(alone.status, 0) << alone.output;
  EXPECT_THAT(alone.errors, HasSubstr("checked against '" + folder_ / "seg.onnx" + "', which '" +
                                      host_ + "' names\n"));
  EXPECT_EQ(RunProgram({"check", "--host", host_, "--strict"}).status, 0);
  EXPECT_EQ(RunProgram({"check", config_, "--model", folder_ / "seg.onnx", "--strict"}).status, 0);

  std::filesystem::remove(folder_ / "seg.onnx");
  EXPECT_THAT(RunProgram({"check", config_}).errors,
              HasSubstr("names '" + folder_ / "seg.onnx" +
                        "', which is not there; checked against an input of 640 x 640"));
  folder_.Write("project/other.yaml", ReadFile(config_));
  EXPECT_EQ(RunProgram({"check", folder_ / "project/other.yaml"}).errors, "");  // not the host's
}

TEST_F(Start, NeverLeaksTheWarningOfALibraryOverThreads) {
  const ProgramResult env = RunProgram({"env", "--threads", "1024"});
  EXPECT_EQ(env.status, 0);
  EXPECT_EQ(env.errors, "");
  ASSERT_EQ(Init({"--grid", "2x1"}).status, 0);
  const ProgramResult detect =
      RunProgram({"detect", "--host", host_, "--threads", "1024", Picture(test::kMagentaPixel)});
  EXPECT_EQ(detect.status, 0);
  EXPECT_EQ(detect.errors, "");
}

TEST_F(Start, CommandLineComesBeforeTheFile) {
  ASSERT_EQ(Init({"--grid", "2x1"}).status, 0);
  const Arguments more{"--fece-class-ids", "1", Picture(test::kMagentaPixel)};
  const ProgramResult detect = RunProgram({"detect", "--host", host_, more[0], more[1], more[2]});
  EXPECT_EQ(json::parse(detect.output)["labels"], json::parse("[0, 0]"));
}

TEST_F(Start, CommandLineComesBeforeWhatTheFileSaysOfItsOpposite) {
  ASSERT_EQ(Init({}).status, 0);
  const std::string host = folder_.Write(
      "own.yaml",
      "model: " + CommonNetwork("seg-b2-64") + "\nconfig: " +
          folder_.Write("c.yaml", "patch: {enable: true, patches: [[0, 0, 64, 64]]}\n") +
          "\nsave: true\nverbose: true\n");
  const std::string picture = Picture(test::kRedPixel);
  const std::string out = folder_ / "out";
  const ProgramResult result =
      RunProgram({"detect", "--host", host, "--output", out, "-q", picture});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.errors, "");
  EXPECT_NE(test::ReadFile(out + "/results.jsonl"), "");
}

TEST_F(Start, RefusesAGridWhoseBatchTheEngineCannotHold) {
  const ProgramResult result = Init({"--grid", "64x64", "--overlap", "0"});
  EXPECT_EQ(result.status, 2);
  EXPECT_THAT(result.errors, HasSubstr("[4096, 3, 640, 640]; expected positive dimensions and at "
                                       "most 2147483647 bytes"));
  EXPECT_FALSE(std::filesystem::exists(host_));
}

TEST_F(Start, FileMaySpeakToOneCommandAlone) {
  ASSERT_EQ(Init({"--grid", "2x1"}).status, 0);
  folder_.Write("project/host.yaml", ReadFile(host_) + "detect:\n  output: found\n" +
                                         "  fece-class-ids: [1]\ncheck:\n  strict: true\n");
  const ProgramResult detect =
      RunProgram({"detect", "--host", host_, Picture(test::kMagentaPixel)});
  EXPECT_EQ(detect.status, 0) << detect.errors;
  EXPECT_EQ(detect.output, "");
  const json row = json::parse(ReadFile(folder_ / "project/found/results.jsonl"));
  EXPECT_EQ(row["labels"], json::parse("[0, 0]"));
}

TEST_F(Start, FileWithAnUnknownKeyIsRefusedWithTheNearest) {
  const std::string host = folder_.Write("h.yaml", "threads: 1\nmodle: seg.onnx\n");
  EXPECT_EQ(ErrorsOf({"detect", "--host", host, "x.png"}),
            "dirty_seg: error: '" + host +
                "' line 2: modle is not an option of any command; did you mean 'model'?\n");
  folder_.Write("h.yaml", "detcet: {threads: 1}\n");
  EXPECT_THAT(ErrorsOf({"detect", "--host", host, "x.png"}),
              EndsWith("line 1: detcet is not a command; did you mean 'detect'?\n"));
  folder_.Write("h.yaml", "detect: {treads: 1}\n");
  EXPECT_THAT(ErrorsOf({"detect", "--host", host, "x.png"}),
              EndsWith("line 1: treads is not an option of 'detect'; did you mean 'threads'?\n"));
}

TEST_F(Start, FileThatGivesACommandAValueIsRefused) {
  const std::string host = folder_.Write("h.yaml", "threads: 1\ndetect: 3\n");
  EXPECT_EQ(ErrorsOf({"check", "--host", host, "c.yaml"}),
            "dirty_seg: error: '" + host +
                "' line 2: detect is '3'; expected options of the command 'detect', each on a line "
                "of its own below it, as '  threads: 2'\n");
}

TEST_F(Start, FileWithABadValueIsRefusedAsTheOptionWouldBe) {
  const std::string host = folder_.Write("h.yaml", "threads: 1.5\n");
  EXPECT_EQ(ErrorsOf({"detect", "--host", host, "x.png"}),
            "dirty_seg: error: '" + host +
                "' line 1: --threads: 1.5 is not a whole number from 0 to 1024\n");
  folder_.Write("h.yaml", "model: [a, b]\n");
  EXPECT_THAT(ErrorsOf({"detect", "--host", host, "x.png"}),
              EndsWith("line 1: model has 2 values; expected one\n"));
  folder_.Write("h.yaml", "strict: perhaps\n");
  EXPECT_THAT(ErrorsOf({"check", "--host", host}),
              EndsWith("line 1: strict is 'perhaps'; expected true or false\n"));
}

TEST_F(Start, FileMayHaveKeysOfOtherCommands) {
  ASSERT_EQ(Init({"--grid", "2x1"}).status, 0);
  folder_.Write("project/host.yaml", ReadFile(host_) + "strict: false\ngrid: 2x1\n");
  EXPECT_EQ(RunProgram({"detect", "--host", host_, Picture(test::kRedPixel)}).status, 0);
}

TEST_F(Start, MissingFileIsNamed) {
  EXPECT_EQ(ErrorsOf({"detect", "--host", "none.yaml", "x.png"}),
            "dirty_seg: error: 'none.yaml': cannot be opened: No such file or directory\n");
  EXPECT_EQ(RunProgram({"detect", "--host", "none.yaml", "--help"}).status, 0);
}

TEST_F(Start, RefusesMorePatchesThanTheBatchTakesAndNamesGridsThatFit) {
  std::filesystem::copy(CommonNetwork("seg-b2-64"), folder_ / "two.onnx");
  EXPECT_EQ(ErrorsOf({"init", folder_ / "two.onnx", "--grid", "3x2", "--output", folder_ / "p"}),
            "dirty_seg: error: --grid 3x2 has 6 patches, but the batch of '" +
                folder_ / "two.onnx" + "' takes 2; these fit: 2x1, 1x2, 1x1\n");
  EXPECT_FALSE(std::filesystem::exists(folder_ / "p"));
}

TEST_F(Start, RefusesNetworksInTheWrongOrder) {
  EXPECT_THAT(ErrorsOf({"init", folder_ / "fece.onnx", folder_ / "seg.onnx"}),
              EndsWith("found 'output' [1, 2]; it can be the classifier\n"));
}

TEST_F(Start, DoesNotReplaceFilesUnlessTold) {
  ASSERT_EQ(Init({"--grid", "2x1"}).status, 0);
  const ProgramResult again = Init({"--grid", "1x1"});
  EXPECT_EQ(again.status, 2);
  EXPECT_EQ(again.errors,
            "dirty_seg: error: '" + host_ + "' already exists; --overwrite replaces it\n");
  EXPECT_EQ(Init({"--grid", "1x1", "--overwrite"}).status, 0);
  EXPECT_THAT(ReadFile(config_), HasSubstr("    - [0, 0, 1920, 1080]\n"));
}

// 200 bytes: neither file fits.
TEST_F(Start, LeavesNoFileCutShort) {
  const auto files = [this] {
    return std::distance(std::filesystem::directory_iterator(folder_ / "project"),
                         std::filesystem::directory_iterator());
  };
  {
    const test::FileSizeLimit limit(200);
    const ProgramResult result = Init({});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors,
              "dirty_seg: error: '" + host_ + "' cannot be written: File too large\n");
    EXPECT_EQ(files(), 0);
  }
  ASSERT_EQ(Init({}).status, 0);
  const std::string host = ReadFile(host_);
  const std::string config = ReadFile(config_);
  const test::FileSizeLimit limit(200);
  EXPECT_EQ(Init({"--grid", "1x1", "--overwrite"}).status, 2);
  EXPECT_EQ(ReadFile(host_), host);
  EXPECT_EQ(ReadFile(config_), config);
  EXPECT_EQ(files(), 2);
}

TEST_F(Start, RefusesAGridThatIsNone) {
  EXPECT_THAT(ErrorsOf({"init", folder_ / "seg.onnx", "--grid", "3by2"}),
              EndsWith("--grid 3by2: expected columns x rows, each from 1 to 64, as 3x2\n"));
}

TEST(Env, WritesTextAndJson) {
  const ProgramResult text = RunProgram({"env", "--threads", "1"}, {"SPDLOG_LEVEL=loud"});
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(text.output, HasSubstr("\n  dirty_seg               " DIRTY_SEG_VERSION "\n"));
  EXPECT_THAT(text.output, HasSubstr("'loud' is not one of trace, debug, info"));
  const ProgramResult as_json = RunProgram({"env", "--json", "--threads", "1"});
  EXPECT_EQ(json::parse(as_json.output)["threads"]["network"], 1);
}

}  // namespace
}  // namespace dirty_seg
