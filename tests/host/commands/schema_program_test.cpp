// The built program's files against their published schemas, with another's validator.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>

#include "support/paths.h"
#include "support/pictures.h"
#include "support/program.h"
#include "support/temporary_folder.h"

namespace dirty_seg {
namespace {

using nlohmann::json;

class Schema : public testing::Test {
 protected:
  // Two patches through both networks.
  std::vector<std::string> Command(const std::string& command,
                                   const std::vector<std::string>& more) {
    std::vector<std::string> arguments{
        command,
        "--model",
        test::CommonNetwork("seg-b2-64"),
        "--config",
        folder_.Write("config.yaml",
                      "patch: {enable: true, patches: [[40, 0, 64, 64], [640, 440, 64, 64]]}"),
        "--fece-model",
        test::CommonNetwork("classifier-224"),
        "--fece-class-ids",
        "0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
  }

  // Red is looked at and rejected, magenta confirmed; the third picture is too small to be reached
  // by a patch, the fourth gives no detection.
  void RunDetect(const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments =
        Command("detect", {"--output", folder_ / "out", "--fit", "pad"});
    arguments.insert(arguments.end(), more.begin(), more.end());
    arguments.push_back(Picture("red.png", test::kRedPixel));
    arguments.push_back(Picture("magenta.png", test::kMagentaPixel));
    arguments.push_back(Picture("tiny.png", test::kRedPixel, {32, 32}));
    arguments.push_back(Picture("black.png", test::kBlackPixel));
    EXPECT_EQ(test::RunProgram(arguments).status, 1);  // of the tiny one
  }

  // Runs `command` with the networks and both patches; what it prints is the file that is returned.
  std::string Print(const std::string& command, const std::vector<std::string>& more) {
    return PrintOf(Command(command, more));
  }

  std::string PrintOf(const std::vector<std::string>& arguments) {
    const test::ProgramResult result = test::RunProgram(arguments);
    EXPECT_NE(result.status, 2) << result.errors;
    return folder_.Write("printed.json", result.output);
  }

  std::string Picture(const std::string& name, const cv::Scalar& colour,
                      const cv::Size& size = test::kFrame) {
    return test::WritePicture(folder_ / name, test::Plain(size, colour));
  }

  // What the validator says of the file's documents.
  std::string Validate(const std::string& schema, const std::string& file) {
    const std::string command = std::string(DIRTY_SEG_VALIDATE) + " '" DIRTY_SEG_SCHEMAS "/" +
                                schema + "' '" + file + "' >'" + folder_ / "validated" + "' 2>&1";
    const int status = std::system(command.c_str());
    std::string said = test::ReadFile(folder_ / "validated");
    EXPECT_TRUE(WIFEXITED(status)) << said;
    EXPECT_EQ(WEXITSTATUS(status) == 0, said.find(" 0 faults\n") != std::string::npos) << said;
    return said;
  }

  test::TemporaryFolder folder_;
};

TEST_F(Schema, OfResultsFitsEveryLine) {
  RunDetect();
  EXPECT_EQ(Validate("results.schema.json", folder_ / "out/results.jsonl"),
            "4 documents, 0 faults\n");
  const std::string text = test::ReadFile(folder_ / "out/results.jsonl");
  const json first = json::parse(text.substr(0, text.find('\n')));
  EXPECT_EQ(first["fece_candidates"][0]["verdict"], "rejected");
}

TEST_F(Schema, OfEachFormFitsThings) {
  RunDetect({"--merge", "--polygons"});
  for (const char* name : {"results.jsonl", "polygons.jsonl", "summary.json"}) {
    const std::string file = folder_ / ("out/" + std::string(name));
    const std::string schema = std::string(name).substr(0, std::string(name).find('.'));
    EXPECT_THAT(Validate(schema + ".schema.json", file), testing::HasSubstr(" 0 faults"));
    EXPECT_THAT(test::ReadFile(file), testing::HasSubstr("\"things\"")) << name;
  }
}

TEST_F(Schema, OfResultsFitsNumbersThatAreNotFinite) {
  std::vector<std::string> arguments =
      Command("detect", {"--output", folder_ / "out", Picture("red.png", test::kRedPixel)});
  arguments.at(2) = test::CommonNetwork("seg-b2-64-nan");
  test::RunProgram(arguments);
  EXPECT_EQ(Validate("results.schema.json", folder_ / "out/results.jsonl"),
            "1 documents, 0 faults\n");
  EXPECT_NE(test::ReadFile(folder_ / "out/results.jsonl").find("non_finite"), std::string::npos);
}

TEST_F(Schema, OfTheSummaryFitsIt) {
  RunDetect();
  EXPECT_EQ(Validate("summary.schema.json", folder_ / "out/summary.json"),
            "1 documents, 0 faults\n");
}

// As they are without a classifier.
TEST_F(Schema, OfTimesFitsThemWithoutTheClassifiers) {
  RunDetect();
  const auto without = [this](const std::string& name, const std::string& text) {
    json changed = json::parse(text);
    json& times = name == "bench" ? changed["a"]["timing_ms"] : changed["timing_ms"];
    EXPECT_EQ(times.erase("classify"), 1U) << name;
    return folder_.Write("changed.json", changed.dump());
  };
  const std::string lines = test::ReadFile(folder_ / "out/results.jsonl");
  const std::string line = lines.substr(0, lines.find('\n'));
  const std::string summary = test::ReadFile(folder_ / "out/summary.json");
  const std::string bench = test::ReadFile(
      Print("bench", {"--json", "--rounds", "1", Picture("red.png", test::kRedPixel)}));
  for (const auto& [name, text] : std::map<std::string, std::string>{
           {"results", line}, {"summary", summary}, {"bench", bench}}) {
    EXPECT_EQ(Validate(name + ".schema.json", without(name, text)), "1 documents, 0 faults\n");
  }
}

TEST_F(Schema, OfAllFitsNamesThatAreNoUtf8AndFailures) {
  std::filesystem::copy(test::CommonNetwork("seg-b2-64"), folder_ / "s\xff.onnx");
  std::vector<std::string> arguments =
      Command("detect", {"--output", folder_ / "out", "--polygons",
                         Picture("r\xff.png", test::kRedPixel), folder_ / "gone\xff.png"});
  arguments[2] = folder_ / "s\xff.onnx";
  EXPECT_EQ(test::RunProgram(arguments).status, 1);
  EXPECT_EQ(Validate("results.schema.json", folder_ / "out/results.jsonl"),
            "1 documents, 0 faults\n");
  EXPECT_EQ(Validate("polygons.schema.json", folder_ / "out/polygons.jsonl"),
            "1 documents, 0 faults\n");
  EXPECT_EQ(Validate("summary.schema.json", folder_ / "out/summary.json"),
            "1 documents, 0 faults\n");
  const json summary = json::parse(test::ReadFile(folder_ / "out/summary.json"));
  EXPECT_TRUE(summary.contains("model_bytes"));
  EXPECT_TRUE(summary["failures"].at(0).contains("source_bytes"));
  EXPECT_EQ(Validate("compare.schema.json",
                     PrintOf({"compare", "--json", folder_ / "out", folder_ / "out"})),
            "1 documents, 0 faults\n");
}

TEST_F(Schema, OfPolygonsFitsEveryLine) {
  RunDetect({"--polygons"});
  EXPECT_EQ(Validate("polygons.schema.json", folder_ / "out/polygons.jsonl"),
            "3 documents, 0 faults\n");  // none of the frame that failed
}

TEST_F(Schema, OfBenchFitsOneSideAndTwo) {
  const std::string red = Picture("red.png", test::kRedPixel);
  EXPECT_EQ(Validate("bench.schema.json", Print("bench", {"--json", "--rounds", "2", red})),
            "1 documents, 0 faults\n");
  const std::string both =
      Print("bench", {"--json", "--rounds", "1", "--threads-b", "1", "--classes", "0,1",
                      "--model-b", test::CommonNetwork("seg-b2-64-quantised"), red,
                      Picture("black.png", test::kBlackPixel)});
  EXPECT_EQ(Validate("bench.schema.json", both), "1 documents, 0 faults\n");
  json changed = json::parse(test::ReadFile(both));
  changed.erase("interrupted");
  EXPECT_NE(Validate("bench.schema.json", folder_.Write("changed.json", changed.dump()))
                .find("'interrupted' is a required property"),
            std::string::npos);
}

TEST_F(Schema, OfTheCheckFitsFindingsOfAllKinds) {
  for (const char* text : {"patch: {enable: true, patches: [[0, 0, 1920, 1080]]}", "",
                           "patch: {enable: 2, patches: [[0, 0, 640, 639], [9, 9], 7]}\n"
                           "postprocess: {iou: 1, max_detections: 0}\nother: 1\n"}) {
    const std::string config = folder_.Write("c.yaml", text);
    const std::string printed =
        folder_.Write("printed.json", test::RunProgram({"check", "--json", config}).output);
    EXPECT_EQ(Validate("check.schema.json", printed), "1 documents, 0 faults\n");
  }
  json changed = json::parse(test::ReadFile(folder_ / "printed.json"));
  changed["findings"][0]["kind"] = "hint";
  EXPECT_NE(Validate("check.schema.json", folder_.Write("changed.json", changed.dump()))
                .find("findings/0/kind: 'hint' is not one of"),
            std::string::npos);
}

TEST_F(Schema, OfTheDumpFitsIt) {
  Print("dump", {"--output", folder_ / "out", Picture("red.png", test::kRedPixel)});
  EXPECT_EQ(Validate("dump.schema.json", folder_ / "out/dump.json"), "1 documents, 0 faults\n");
  json changed = json::parse(test::ReadFile(folder_ / "out/dump.json"));
  changed["slots"][0]["patch"] = "first";
  EXPECT_NE(Validate("dump.schema.json", folder_.Write("changed.json", changed.dump()))
                .find("slots/0/patch: 'first' is not of type 'integer'"),
            std::string::npos);
}

// Red and magenta: matched with other scores, another class by the classifier's word, and black
// without a detection.
TEST_F(Schema, OfCompareFitsResultsAndDumps) {
  const auto detect = [this](const std::string& name, const cv::Scalar& colour) {
    Print("detect", {"--output", folder_ / name, Picture("a.png", colour),
                     Picture("b.png", test::kRedPixel), Picture(name + ".png", colour)});
    return folder_ / name;
  };
  const std::string red = detect("red", test::kRedPixel);
  const std::string magenta = detect("magenta", test::kMagentaPixel);
  const std::string black = detect("black", test::kBlackPixel);
  for (const std::string& other : {red, magenta, black}) {
    const std::string printed = PrintOf({"compare", "--json", red, other});
    EXPECT_EQ(Validate("compare.schema.json", printed), "1 documents, 0 faults\n");
  }
  for (const std::string name : {"red", "magenta"}) {
    Print("dump", {"--output", folder_ / ("dump-" + name), folder_ / (name + ".png")});
  }
  const std::string tensor = folder_ / "dump-red/input_images.npy";
  EXPECT_EQ(Validate("compare.schema.json", PrintOf({"compare", "--json", folder_ / "dump-red",
                                                     folder_ / "dump-magenta"})),
            "1 documents, 0 faults\n");
  EXPECT_EQ(Validate("compare.schema.json", PrintOf({"compare", "--json", tensor, tensor})),
            "1 documents, 0 faults\n");
  json changed = json::parse(test::ReadFile(folder_ / "printed.json"));
  changed["tensors"][0].erase("differing");
  EXPECT_NE(Validate("compare.schema.json", folder_.Write("changed.json", changed.dump())),
            "1 documents, 0 faults\n");
}

// What keeps the tests above from passing whatever is written.
TEST_F(Schema, OfResultsNoticesAnUnknownKeyAndAMissingOne) {
  RunDetect();
  const std::string text = test::ReadFile(folder_ / "out/results.jsonl");
  json line = json::parse(text.substr(0, text.find('\n')));
  line["colour"] = "red";
  line.erase("scores");
  const std::string said =
      Validate("results.schema.json", folder_.Write("changed.jsonl", line.dump() + "\n"));
  EXPECT_NE(said.find("'colour' was unexpected"), std::string::npos) << said;
  EXPECT_NE(said.find("'scores' is a required property"), std::string::npos) << said;
}

}  // namespace
}  // namespace dirty_seg
